#include "delivery/http_client.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "delivery/curl_handle.h"
#include "delivery/endpoint.h"
#include "delivery/http_way.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr long login_at_proxy = 407;
constexpr long login_wanted = 401;  // of the receiver; but there are proxies that say so of a wrong login
constexpr std::array<long, 3> passing_errors{408, 425, 429};  // time-out, too early, too many requests

constexpr const char* no_goodbye = nullptr;
constexpr const char* not_an_address = "this is not an HTTP or HTTPS address";

// What is read of an answer, head and body. Nothing in it is wanted but its status: more than this ends the
// transfer, and the status counts all the same.
constexpr std::size_t longest_answer = 65'536;

struct Answer {
    std::size_t bytes = 0;
    bool is_head_whole = false;  // of the answer that came last

    // Whether this much more is still read.
    bool takes(std::size_t length) {
        bytes += length;
        return bytes <= longest_answer;
    }
};

size_t take_body(char* /*data*/, size_t size, size_t count, void* context) noexcept {
    return static_cast<Answer*>(context)->takes(size * count) ? size * count : 0;
}

// An answer may be several: those that say that another one follows come first.
size_t take_head(char* data, size_t size, size_t count, void* context) noexcept {
    auto& answer = *static_cast<Answer*>(context);
    const std::string_view line(data, size * count);
    answer.is_head_whole = line == "\r\n" || line == "\n";
    return answer.takes(line.size()) ? line.size() : 0;
}

// Who can have sent the answer.
enum class Sender : std::uint8_t { receiver, proxy, either };

// A proxy's login can be set right: what it has kept back is not refused.
std::string why_no_login(long status, const HttpWay& way, Sender sender) {
    const bool has_login = !way.proxy_login.user.empty();
    if (status == login_at_proxy) {
        return has_login ? ": the login in its settings is refused there" : ": a login is wanted there";
    }
    if (status != login_wanted || !has_login || sender == Sender::receiver) {
        return "";
    }
    return sender == Sender::proxy
               ? ": the login in its settings is refused there"
               : ": the login in its settings is refused there, or a login is wanted behind it";
}

Outcome judge(long status, const HttpWay& way, Sender sender) {
    const std::string reason = status_text(status);
    if (is_http_success(status)) {
        return {Verdict::delivered, "", ""};
    }
    if (const std::string why = why_no_login(status, way, sender); !why.empty()) {
        return {Verdict::postponed, "", reason + why};
    }
    if (is_http_redirection(status)) {
        return {Verdict::refused, "", reason};
    }
    const bool passing =
        std::find(passing_errors.begin(), passing_errors.end(), status) != passing_errors.end();
    const bool postponed = status < first_http_success || status >= first_http_server_error || passing;
    return {postponed ? Verdict::postponed : Verdict::refused, "", reason};
}

// Behind a way that the proxy has opened it is the receiver who speaks. What comes to a plain request may
// be the answer of either.
Sender sender_of(const DeliveryJob& job, long connected) {
    return job.http.proxy.empty() || is_http_success(connected) ? Sender::receiver : Sender::either;
}

// A proxy that does not open the way to an HTTPS server has refused us, not the message: someone may yet
// set it right.
Outcome judge(CURLcode result, const CurlHandle& handle, const Answer& answer, const DeliveryJob& job,
              const HttpWay& way) {
    const long connected = handle.connect_code();
    if (connected != 0 && !is_http_success(connected)) {
        return {Verdict::postponed, "", judge(connected, way, Sender::proxy).reason};
    }
    // Who has said what becomes of the message need not say the rest: an answer that hangs, breaks off or
    // never ends is no reason to post again.
    const long status = handle.response_code();
    if (result == CURLE_OK || (answer.is_head_whole && status >= first_http_success)) {
        const bool came_early = is_http_success(status) && handle.bytes_sent() < job.content->size();
        return came_early ? Outcome{Verdict::postponed, "", "it answered before it had the whole message"}
                          : judge(status, way, sender_of(job, connected));
    }
    if (result == CURLE_ABORTED_BY_CALLBACK) {
        return {Verdict::stopped, "", ""};
    }
    return {Verdict::postponed, "",
            result == CURLE_WRITE_ERROR ? "the head of its answer is too long" : handle.error_text(result)};
}

// Behind a way that the proxy has opened it is the receiver who speaks. What comes to a plain request may
// be the answer of either: it is the proxy from which we have it.
std::string who_answered(const DeliveryJob& job, const CurlHandle& handle, Verdict verdict) {
    const bool asked_proxy = !job.http.proxy.empty() &&
                             (verdict == Verdict::delivered || !is_http_success(handle.connect_code()));
    return asked_proxy ? "the proxy " + authority_of(job.http.proxy, job.http.proxy_port) : "";
}

CurlList headers_of(const DeliveryJob& job) {
    CurlList headers = curl_list("Content-Type: " + job.content_type);
    if (!job.key.empty()) {
        append(headers, "Idempotency-Key: \"" + job.key + "\"");
    }
    return headers;
}

// Nothing of what this is given by address is known to libcurl when it is over.
CURLcode post(const DeliveryJob& job, CurlHandle& handle, Answer& answer) {
    const CurlList headers = headers_of(job);
    handle.set(CURLOPT_URL, job.receiver.c_str());
    handle.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(job.content->size()));
    handle.set(CURLOPT_POSTFIELDS, job.content->c_str());
    handle.set(CURLOPT_HTTPHEADER, headers.get());
    handle.set(CURLOPT_HEADERFUNCTION, &take_head);
    handle.set(CURLOPT_HEADERDATA, &answer);
    handle.set(CURLOPT_WRITEFUNCTION, &take_body);
    handle.set(CURLOPT_WRITEDATA, &answer);
    const CURLcode result = handle.perform();
    handle.release();
    return result;
}

Way way_of(const DeliveryJob& job, const TransferLimits& limits, const HttpWay& way) {
    return {place_of(job.http, job.receiver),
            {way.proxy_login.user, way.proxy_login.secret, stamp_of(limits.authorities)}};
}

// The connection was there no more. The receiver knows by its key what it has already.
bool has_ended_before(CURLcode result, const Answer& answer) {
    return result != CURLE_OK && result != CURLE_ABORTED_BY_CALLBACK &&
           result != CURLE_OPERATION_TIMEDOUT && answer.bytes == 0;
}

// Nothing when another connection has to be opened.
std::optional<Outcome> perform(const DeliveryJob& job, const HttpWay& way,
                               std::unique_ptr<TransferConnection> connection, KeptConnection& kept) {
    Answer answer;
    const CURLcode result = post(job, connection->handle(), answer);
    if (result == CURLE_URL_MALFORMAT) {
        return Outcome{Verdict::refused, "", not_an_address};
    }
    if (connection->was_used() && has_ended_before(result, answer)) {
        return std::nullopt;
    }
    Outcome outcome = judge(result, connection->handle(), answer, job, way);
    outcome.through = who_answered(job, connection->handle(), outcome.verdict);
    if (result == CURLE_OK && outcome.verdict == Verdict::delivered) {
        kept.keep(std::move(connection));
    }
    return outcome;
}

Outcome send(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop,
             KeptConnection& kept) {
    HttpWay way = http_way(job.http, limits);
    if (!way.why_none.empty()) {
        return {Verdict::postponed, "", std::move(way.why_none)};
    }
    if (auto connection = kept.take(way_of(job, limits, way)); connection != nullptr) {
        connection->handle().obey(stop);
        if (auto outcome = perform(job, way, std::move(connection), kept)) {
            return *std::move(outcome);
        }
    }
    auto connection = std::make_unique<TransferConnection>(way_of(job, limits, way), http_protocols,
                                                           no_goodbye, limits, stop);
    CurlHandle& handle = connection->handle();
    take_way(handle, job.http, way);
    if (std::string why = find_way(handle, job.http, job.receiver, limits); !why.empty()) {
        return {Verdict::postponed, "", std::move(why)};
    }
    handle.set(CURLOPT_FOLLOWLOCATION, 0L);
    handle.set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    return perform(job, way, std::move(connection), kept).value();
}

}  // namespace

Outcome post_by_http(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop,
                     KeptConnection& kept) {
    if (!is_http_url(job.receiver)) {
        return {Verdict::refused, "", not_an_address};
    }
    if (std::string reason = why_unusable(job.http); !reason.empty()) {
        return {Verdict::postponed, "", std::move(reason)};
    }
    try {
        return send(job, limits, stop, kept);
    } catch (const std::exception& error) {
        return {Verdict::postponed, "", clean_line(error.what())};
    }
}

}  // namespace callhome::service
