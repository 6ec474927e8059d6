#include "delivery/curl_handle.h"

#include <fmt/format.h>

#include <mutex>

#include "messages/text.h"

namespace callhome::service {
namespace {

void initialize_once() {
    static std::once_flag initialized;
    std::call_once(initialized, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

int stop_when_asked(void* stop, curl_off_t /*to_receive*/, curl_off_t /*received*/, curl_off_t /*to_send*/,
                    curl_off_t /*sent*/) {
    return static_cast<const std::stop_token*>(stop)->stop_requested() ? 1 : 0;
}

CURL* new_handle() {
    initialize_once();
    return curl_easy_init();
}

}  // namespace

void append(CurlList& list, const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) {
        throw std::runtime_error("there is no memory for a transfer");
    }
    (void)list.release();
    list.reset(longer);
}

CurlList curl_list(const std::string& line) {
    CurlList list(nullptr, &curl_slist_free_all);
    append(list, line);
    return list;
}

void CurlHandle::resolve_as(const std::string& host, std::uint32_t port, const std::string& addresses) {
    resolved_ = curl_list(fmt::format("{}:{}:{}", host, port, addresses));
    set(CURLOPT_RESOLVE, resolved_.get());
}

void CurlHandle::connect_to(const std::string& authority) {
    connected_ = curl_list("::" + authority);
    set(CURLOPT_CONNECT_TO, connected_.get());
}

CurlHandle::CurlHandle(const char* protocols, const TransferLimits& limits, const std::stop_token& stop)
    : handle_(new_handle(), &curl_easy_cleanup) {
    if (handle_ == nullptr) {
        throw std::runtime_error("libcurl cannot be set up");
    }
    set(CURLOPT_ERRORBUFFER, error_.data());
    set(CURLOPT_PROTOCOLS_STR, protocols);
    set(CURLOPT_NOSIGNAL, 1L);
    // A resolver thread that hangs must not hold up the end of a transfer whose time is over.
    set(CURLOPT_QUICK_EXIT, 1L);
    // Where messages go is configured by commands, not by the environment.
    set(CURLOPT_PROXY, "");
    set(CURLOPT_NOPROXY, "");
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits.connect.count()));
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(limits.total.count()));
    set(CURLOPT_SERVER_RESPONSE_TIMEOUT, static_cast<long>(limits.response.count()));
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (!limits.authorities.empty()) {
        set(CURLOPT_CAINFO, limits.authorities.c_str());
        set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, &stop_when_asked);
    set(CURLOPT_XFERINFODATA, const_cast<std::stop_token*>(&stop));
}

long CurlHandle::number(CURLINFO info) const {
    long number = 0;
    curl_easy_getinfo(handle_.get(), info, &number);
    return number;
}

bool CurlHandle::was_connected() const {
    curl_off_t microseconds = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_CONNECT_TIME_T, &microseconds);
    return microseconds > 0;
}

std::uint64_t CurlHandle::bytes_sent() const {
    curl_off_t bytes = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_SIZE_UPLOAD_T, &bytes);
    return static_cast<std::uint64_t>(bytes);
}

std::string CurlHandle::error_text(CURLcode code) const {
    const std::string text = clean_line(error_.front() != '\0' ? error_.data() : curl_easy_strerror(code));
    return code == CURLE_PEER_FAILED_VERIFICATION ? "its certificate is not accepted: " + text : text;
}

}  // namespace callhome::service
