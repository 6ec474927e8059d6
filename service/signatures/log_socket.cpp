#include "signatures/log_socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include "signatures/log_matcher.h"

namespace callhome::service {
namespace {

constexpr int datagrams_a_turn = 64;

}  // namespace

LogSocket::LogSocket(asio::io_context& io, const std::filesystem::path& path, SocketAccess access,
                     TakeLine take)
    : path_(path),
      take_(std::move(take)),
      socket_(io, asio::local::datagram_protocol(),
              bind_local_socket(path, SOCK_DGRAM, access, "--log-socket")) {
    wait();
}

LogSocket::~LogSocket() {
    ::unlink(path_.c_str());
}

void LogSocket::wait() {
    socket_.async_wait(Socket::wait_read, [this](const asio::error_code& error) {
        if (!error) {
            take_some();
            wait();
        }
    });
}

void LogSocket::take_some() {
    std::array<char, longest_log_line> datagram;
    for (int count = 0; count < datagrams_a_turn; ++count) {
        const ssize_t length =
            ::recv(socket_.native_handle(), datagram.data(), datagram.size(), MSG_DONTWAIT);
        if (length < 0) {
            return;
        }
        each_line({datagram.data(), static_cast<std::size_t>(length)},
                  [this](std::string_view line) { take_(without_syslog_head(line)); });
    }
}

}  // namespace callhome::service
