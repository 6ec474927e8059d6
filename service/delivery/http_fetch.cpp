#include "delivery/http_fetch.h"

#include <fmt/format.h>

#include <algorithm>

#include "delivery/http_way.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr long status_not_found = 404;
constexpr long status_gone = 410;

struct Body {
    std::string bytes;
    std::size_t most_bytes;
    bool is_too_long = false;
};

// Taking less than there is ends the transfer: an endless file costs no more than its limit.
size_t take_body(char* data, size_t size, size_t count, void* context) noexcept {
    auto& body = *static_cast<Body*>(context);
    const std::size_t length = size * count;
    if (length > body.most_bytes - body.bytes.size()) {
        body.is_too_long = true;
        return 0;
    }
    try {
        body.bytes.append(data, length);
    } catch (const std::exception&) {
        return 0;
    }
    return length;
}

Fetched judge_status(long status, Body& body) {
    if (is_http_success(status)) {
        return {FetchVerdict::fetched, std::move(body.bytes), ""};
    }
    const bool is_missing = status == status_not_found || status == status_gone;
    return {is_missing ? FetchVerdict::not_there : FetchVerdict::refused, "", status_text(status)};
}

Fetched judge_transfer(CURLcode result, const CurlHandle& handle, Body& body) {
    const bool is_too_long = body.is_too_long || result == CURLE_FILESIZE_EXCEEDED;
    // What a redirection or an error says beyond its number is of no interest, be it as long as it may.
    if (result == CURLE_OK || (is_too_long && !is_http_success(handle.response_code()))) {
        return judge_status(handle.response_code(), body);
    }
    if (is_too_long) {
        return {FetchVerdict::too_long, "",
                fmt::format("the file is longer than {} bytes", body.most_bytes)};
    }
    switch (result) {
        case CURLE_ABORTED_BY_CALLBACK:
            return {FetchVerdict::stopped, "", "the service ends"};
        case CURLE_OPERATION_TIMEDOUT:
            return {FetchVerdict::timed_out, "", handle.error_text(result)};
        default:
            return {FetchVerdict::not_reached, "", handle.error_text(result)};
    }
}

}  // namespace

Fetcher::Fetcher(const HttpRoute& route, const TransferLimits& limits, const std::stop_token& stop)
    : handle_(http_protocols, limits, stop),
      route_(route),
      limits_(limits),
      why_unusable_(why_unusable(route)) {
    if (!why_unusable_.empty()) {
        return;
    }
    const HttpWay way = http_way(route, limits);
    why_unusable_ = way.why_none;
    take_way(handle_, route, way);
    handle_.set(CURLOPT_FOLLOWLOCATION, 0L);
    handle_.set(CURLOPT_WRITEFUNCTION, &take_body);
}

Fetched Fetcher::fetch(const std::string& url, std::size_t most_bytes, std::chrono::milliseconds within) {
    if (!is_http_url(url)) {
        return {FetchVerdict::not_reached, "", "this is not an HTTP or HTTPS address"};
    }
    if (!why_unusable_.empty()) {
        return {FetchVerdict::not_reached, "", why_unusable_};
    }
    if (within <= std::chrono::milliseconds::zero()) {
        return {FetchVerdict::timed_out, "", "the time for downloads is over"};
    }
    if (std::string why = find_way(handle_, route_, url, limits_); !why.empty()) {
        return {FetchVerdict::not_reached, "", std::move(why)};
    }
    Body body{.bytes = {}, .most_bytes = most_bytes};
    handle_.set(CURLOPT_URL, url.c_str());
    handle_.set(CURLOPT_TIMEOUT_MS, static_cast<long>(within.count()));
    handle_.set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(most_bytes));
    handle_.set(CURLOPT_WRITEDATA, &body);
    const CURLcode result = handle_.perform();
    return judge_transfer(result, handle_, body);
}

}  // namespace callhome::service
