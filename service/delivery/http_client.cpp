#include "delivery/http_client.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "delivery/curl_handle.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr long first_success = 200;
constexpr long first_redirection = 300;
constexpr long first_client_error = 400;
constexpr long first_server_error = 500;
constexpr std::array<long, 3> passing_errors{408, 425, 429};  // time-out, too early, too many requests

constexpr const char* not_an_address = "this is not an HTTP or HTTPS address";

bool is_http(std::string_view url) {
    return url.starts_with("http://") || url.starts_with("https://");
}

// Nothing of an answer's body is wanted; ending here keeps an endless one from costing anything.
size_t take_no_body(char* /*data*/, size_t /*size*/, size_t /*count*/, void* /*context*/) noexcept {
    return 0;
}

Outcome judge(long status) {
    const std::string reason = fmt::format("HTTP status {}", status);
    if (status >= first_success && status < first_redirection) {
        return {Verdict::delivered, "", ""};
    }
    if (status >= first_redirection && status < first_client_error) {
        return {Verdict::refused, "", reason + ": the address has moved; configure the new one"};
    }
    const bool passing =
        std::find(passing_errors.begin(), passing_errors.end(), status) != passing_errors.end();
    const bool postponed = status < first_success || status >= first_server_error || passing;
    return {postponed ? Verdict::postponed : Verdict::refused, "", reason};
}

Outcome post(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop) {
    CurlHandle handle("http,https", limits, stop);
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
        curl_slist_append(nullptr, ("Content-Type: " + job.content_type).c_str()), &curl_slist_free_all);
    handle.set(CURLOPT_URL, job.receiver.c_str());
    handle.set(CURLOPT_HTTPHEADER, headers.get());
    handle.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(job.content->size()));
    handle.set(CURLOPT_POSTFIELDS, job.content->c_str());
    handle.set(CURLOPT_FOLLOWLOCATION, 0L);
    handle.set(CURLOPT_WRITEFUNCTION, &take_no_body);
    const CURLcode result = handle.perform();
    if (result == CURLE_ABORTED_BY_CALLBACK) {
        return {Verdict::stopped, "", ""};
    }
    if (result == CURLE_URL_MALFORMAT) {
        return {Verdict::refused, "", not_an_address};
    }
    const bool answered = result == CURLE_OK || result == CURLE_WRITE_ERROR;
    return answered ? judge(handle.response_code())
                    : Outcome{Verdict::postponed, "", handle.error_text(result)};
}

}  // namespace

Outcome post_by_http(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop) {
    if (!is_http(job.receiver)) {
        return {Verdict::refused, "", not_an_address};
    }
    try {
        return post(job, limits, stop);
    } catch (const std::exception& error) {
        return {Verdict::postponed, "", clean_line(error.what())};
    }
}

}  // namespace callhome::service
