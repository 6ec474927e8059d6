// A libcurl transfer with what all our transfers have in common.
#pragma once

#include <curl/curl.h>

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>

#include "delivery/settings.h"

namespace callhome::service {

using CurlList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

// A list of one line. Throws std::runtime_error when there is no memory.
CurlList curl_list(const std::string& line);
void append(CurlList& list, const std::string& line);

class CurlHandle {
 public:
    // `protocols` as CURLOPT_PROTOCOLS_STR. `stop` must outlive this object. Throws std::runtime_error
    // when libcurl cannot be set up.
    CurlHandle(const char* protocols, const TransferLimits& limits, const std::stop_token& stop);

    template <typename Value>
    void set(CURLoption option, Value value) {
        check(curl_easy_setopt(handle_.get(), option, value));
    }

    CURLcode perform() { return curl_easy_perform(handle_.get()); }

    // For this host and port, goes to these addresses ("192.0.2.1,2001:db8::1") and asks for no name.
    void resolve_as(const std::string& host, std::uint32_t port, const std::string& addresses);
    // Whoever is named, goes to this host and port.
    void connect_to(const std::string& authority);

    long response_code() const { return number(CURLINFO_RESPONSE_CODE); }
    // What a proxy has answered to CONNECT; 0 when it was not asked.
    long connect_code() const { return number(CURLINFO_HTTP_CONNECTCODE); }

    // A connection has come about.
    bool was_connected() const;

    // Of the content, as far as the other side's machine has taken it.
    std::uint64_t bytes_sent() const;

    // Why a transfer has failed, as one clean line.
    std::string error_text(CURLcode code) const;

 private:
    long number(CURLINFO info) const;

    static void check(CURLcode code) {
        if (code != CURLE_OK) {
            throw std::runtime_error(curl_easy_strerror(code));
        }
    }

    // Declared before the handle, which may use them until it is gone.
    std::array<char, CURL_ERROR_SIZE> error_{};
    CurlList resolved_{nullptr, &curl_slist_free_all};
    CurlList connected_{nullptr, &curl_slist_free_all};
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
};

}  // namespace callhome::service
