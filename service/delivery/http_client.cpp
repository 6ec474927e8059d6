#include "delivery/http_client.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "delivery/curl_handle.h"
#include "delivery/endpoint.h"
#include "delivery/http_way.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr long login_at_proxy = 407;
constexpr std::array<long, 3> passing_errors{408, 425, 429};  // time-out, too early, too many requests

constexpr const char* not_an_address = "this is not an HTTP or HTTPS address";

// Nothing of an answer's body is wanted; ending here keeps an endless one from costing anything.
size_t take_no_body(char* /*data*/, size_t /*size*/, size_t /*count*/, void* /*context*/) noexcept {
    return 0;
}

Outcome judge(long status) {
    const std::string reason = status_text(status);
    if (is_http_success(status)) {
        return {Verdict::delivered, "", ""};
    }
    if (status == login_at_proxy) {
        return {Verdict::postponed, "", reason + ": a login is wanted there"};
    }
    if (is_http_redirection(status)) {
        return {Verdict::refused, "", reason};
    }
    const bool passing =
        std::find(passing_errors.begin(), passing_errors.end(), status) != passing_errors.end();
    const bool postponed = status < first_http_success || status >= first_http_server_error || passing;
    return {postponed ? Verdict::postponed : Verdict::refused, "", reason};
}

// A proxy that does not open the way to an HTTPS server has refused us, not the message: someone may yet
// set it right.
Outcome judge(CURLcode result, const CurlHandle& handle) {
    const long connected = handle.connect_code();
    if (connected != 0 && !is_http_success(connected)) {
        return {Verdict::postponed, "", judge(connected).reason};
    }
    if (result == CURLE_ABORTED_BY_CALLBACK) {
        return {Verdict::stopped, "", ""};
    }
    const bool answered = result == CURLE_OK || result == CURLE_WRITE_ERROR;
    return answered ? judge(handle.response_code())
                    : Outcome{Verdict::postponed, "", handle.error_text(result)};
}

// Behind a way that the proxy has opened it is the receiver who speaks. What comes to a plain request may
// be the answer of either: it is the proxy from which we have it.
std::string who_answered(const DeliveryJob& job, const CurlHandle& handle, Verdict verdict) {
    const bool asked_proxy = !job.http.proxy.empty() &&
                             (verdict == Verdict::delivered || !is_http_success(handle.connect_code()));
    return asked_proxy ? "the proxy " + authority_of(job.http.proxy, job.http.proxy_port) : "";
}

Outcome post(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop) {
    CurlHandle handle(http_protocols, limits, stop);
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
        curl_slist_append(nullptr, ("Content-Type: " + job.content_type).c_str()), &curl_slist_free_all);
    handle.set(CURLOPT_URL, job.receiver.c_str());
    choose_way(handle, job.http);
    handle.set(CURLOPT_HTTPHEADER, headers.get());
    handle.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(job.content->size()));
    handle.set(CURLOPT_POSTFIELDS, job.content->c_str());
    handle.set(CURLOPT_FOLLOWLOCATION, 0L);
    handle.set(CURLOPT_WRITEFUNCTION, &take_no_body);
    const CURLcode result = handle.perform();
    if (result == CURLE_URL_MALFORMAT) {
        return {Verdict::refused, "", not_an_address};
    }
    Outcome outcome = judge(result, handle);
    outcome.through = who_answered(job, handle, outcome.verdict);
    return outcome;
}

}  // namespace

Outcome post_by_http(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop) {
    if (!is_http_url(job.receiver)) {
        return {Verdict::refused, "", not_an_address};
    }
    if (std::string reason = why_unusable(job.http); !reason.empty()) {
        return {Verdict::postponed, "", std::move(reason)};
    }
    try {
        return post(job, limits, stop);
    } catch (const std::exception& error) {
        return {Verdict::postponed, "", clean_line(error.what())};
    }
}

}  // namespace callhome::service
