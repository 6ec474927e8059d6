// A libcurl transfer with what all our transfers have in common.
#pragma once

#include <curl/curl.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>

#include "delivery/settings.h"

namespace callhome::service {

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

    long response_code() const { return number(CURLINFO_RESPONSE_CODE); }
    // What a proxy has answered to CONNECT; 0 when it was not asked.
    long connect_code() const { return number(CURLINFO_HTTP_CONNECTCODE); }

    // Why a transfer has failed, as one clean line.
    std::string error_text(CURLcode code) const;

 private:
    long number(CURLINFO info) const;

    static void check(CURLcode code) {
        if (code != CURLE_OK) {
            throw std::runtime_error(curl_easy_strerror(code));
        }
    }

    // Declared before the handle, which may write to it until it is gone.
    std::array<char, CURL_ERROR_SIZE> error_{};
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
};

}  // namespace callhome::service
