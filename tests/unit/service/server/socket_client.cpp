#include "socket_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace callhome::service {
namespace {

constexpr int limit_seconds = 60;

}  // namespace

Bytes header_of(const protocol::FrameHeader& header) {
    const auto bytes = protocol::encode(header);
    return {bytes.begin(), bytes.end()};
}

SocketClient::SocketClient(const std::filesystem::path& socket)
    : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socket.c_str(), sizeof(address.sun_path) - 1);
    const timeval limit{.tv_sec = limit_seconds, .tv_usec = 0};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    if (::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        const int reason = errno;
        ::close(descriptor_);
        throw std::system_error(reason, std::generic_category(), "connect");
    }
}

SocketClient::~SocketClient() {
    ::close(descriptor_);
}

void SocketClient::send(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            return;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(sent));
    }
}

void SocketClient::send_no_more() {
    ::shutdown(descriptor_, SHUT_WR);
}

Bytes SocketClient::receive_bytes(std::size_t most) {
    Bytes bytes(most);
    std::size_t filled = 0;
    while (filled < most) {
        const ssize_t received = ::recv(descriptor_, bytes.data() + filled, most - filled, 0);
        if (received <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(received);
    }
    bytes.resize(filled);
    return bytes;
}

std::optional<ReceivedFrame> SocketClient::receive() {
    const Bytes bytes = receive_bytes(sizeof(protocol::FrameHeader));
    protocol::FrameHeaderBytes header_bytes;
    if (bytes.size() != header_bytes.size()) {
        return std::nullopt;
    }
    std::copy(bytes.begin(), bytes.end(), header_bytes.begin());
    ReceivedFrame frame{.header = protocol::decode(header_bytes), .body = {}};
    if (protocol::why_invalid(frame.header, protocol::FrameKind::reply) != nullptr) {
        return std::nullopt;
    }
    frame.body = receive_bytes(frame.header.length);
    return frame.body.size() == frame.header.length ? std::optional(frame) : std::nullopt;
}

bool SocketClient::wait_for_hang_up() {
    pollfd waiting{.fd = descriptor_, .events = POLLRDHUP, .revents = 0};
    return ::poll(&waiting, 1, limit_seconds * 1000) == 1;
}

void SocketClient::keep_small_receive_buffer() {
    const int small = 4096;
    ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &small, sizeof(small));
}

}  // namespace callhome::service
