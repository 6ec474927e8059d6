#include "delivery/curl_handle.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

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

curl_socket_t open_nothing(void* /*context*/, curlsocktype /*purpose*/,
                           curl_sockaddr* /*address*/) noexcept {
    return CURL_SOCKET_BAD;
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
    obey(stop);
}

void CurlHandle::obey(const std::stop_token& stop) {
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, &stop_when_asked);
    set(CURLOPT_XFERINFODATA, const_cast<std::stop_token*>(&stop));
}

// Options that only store a value cannot fail.
void CurlHandle::release() noexcept {
    CURL* const handle = handle_.get();
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 1L);
    curl_easy_setopt(handle, CURLOPT_VERBOSE, 0L);
    for (const CURLoption option :
         {CURLOPT_XFERINFODATA, CURLOPT_DEBUGDATA, CURLOPT_READDATA, CURLOPT_WRITEDATA, CURLOPT_HEADERDATA,
          CURLOPT_MAIL_RCPT, CURLOPT_HTTPHEADER, CURLOPT_POSTFIELDS}) {
        curl_easy_setopt(handle, option, nullptr);
    }
}

void CurlHandle::hold_connection() noexcept {
    release();
    held_connect_code_ = connect_code();
    is_held_ = true;
    curl_easy_setopt(handle_.get(), CURLOPT_OPENSOCKETFUNCTION, &open_nothing);
}

curl_socket_t CurlHandle::open_socket() const noexcept {
    curl_socket_t socket = CURL_SOCKET_BAD;
    return curl_easy_getinfo(handle_.get(), CURLINFO_ACTIVESOCKET, &socket) == CURLE_OK ? socket
                                                                                        : CURL_SOCKET_BAD;
}

bool CurlHandle::is_connection_quiet() const noexcept {
    pollfd socket{open_socket(), POLLIN, 0};
    return socket.fd != CURL_SOCKET_BAD && ::poll(&socket, 1, 0) == 0;
}

// libcurl says goodbye by itself when it closes a connection, and waits for minutes if nobody answers. On a
// socket that is shut down this comes to nothing.
void CurlHandle::take_leave(const char* command, std::chrono::milliseconds within) noexcept {
    CURL* const handle = handle_.get();
    curl_easy_setopt(handle, CURLOPT_UPLOAD, 0L);
    curl_easy_setopt(handle, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(within.count()));
    if (is_connection_quiet() && curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, command) == CURLE_OK) {
        perform();
    }
    if (const curl_socket_t socket = open_socket(); socket != CURL_SOCKET_BAD) {
        ::shutdown(socket, SHUT_RDWR);
    }
}

long CurlHandle::number(CURLINFO info) const {
    long number = 0;
    curl_easy_getinfo(handle_.get(), info, &number);
    return number;
}

long CurlHandle::connect_code() const {
    return is_held_ ? held_connect_code_ : number(CURLINFO_HTTP_CONNECTCODE);
}

bool CurlHandle::was_connected() const {
    if (is_held_) {
        return true;
    }
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
