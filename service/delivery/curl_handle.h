// A libcurl transfer with what all our transfers have in common.
#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
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
    // `protocols` as CURLOPT_PROTOCOLS_STR. `stop` must outlive this object, or the next obey(). Throws
    // std::runtime_error when libcurl cannot be set up.
    CurlHandle(const char* protocols, const TransferLimits& limits, const std::stop_token& stop);

    template <typename Value>
    void set(CURLoption option, Value value) {
        check(curl_easy_setopt(handle_.get(), option, value));
    }

    CURLcode perform() { return curl_easy_perform(handle_.get()); }

    // Transfers end when this stop is requested.
    void obey(const std::stop_token& stop);

    // Forgets all that a transfer was given by address alone.
    void release() noexcept;
    // From now on no other connection is opened: what has been looked at when this one came about would not
    // hold for it.
    void hold_connection() noexcept;
    // There is a connection, the other side has not left, and it has said nothing that nobody asked for.
    bool is_connection_quiet() const noexcept;
    // The last command on a connection that is held: its answer is awaited for a moment, and that is all.
    void take_leave(const char* command, std::chrono::milliseconds within) noexcept;

    // For this host and port, goes to these addresses ("192.0.2.1,2001:db8::1") and asks for no name.
    void resolve_as(const std::string& host, std::uint32_t port, const std::string& addresses);
    // Whoever is named, goes to this host and port.
    void connect_to(const std::string& authority);

    long response_code() const { return number(CURLINFO_RESPONSE_CODE); }
    // What a proxy has answered to CONNECT, when this connection came about; 0 when it was not asked.
    long connect_code() const;

    // A connection has come about.
    bool was_connected() const;

    // Of the content, as far as the other side's machine has taken it.
    std::uint64_t bytes_sent() const;

    // Why a transfer has failed, as one clean line.
    std::string error_text(CURLcode code) const;

 private:
    long number(CURLINFO info) const;
    curl_socket_t open_socket() const noexcept;

    static void check(CURLcode code) {
        if (code != CURLE_OK) {
            throw std::runtime_error(curl_easy_strerror(code));
        }
    }

    // Declared before the handle, which may use them until it is gone.
    std::array<char, CURL_ERROR_SIZE> error_{};
    CurlList resolved_{nullptr, &curl_slist_free_all};
    CurlList connected_{nullptr, &curl_slist_free_all};
    bool is_held_ = false;
    long held_connect_code_ = 0;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
};

}  // namespace callhome::service
