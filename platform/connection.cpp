#include "connection.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace callhome::platform {
namespace {

// Kernel time-outs are kept to steps of this length, so that a series of requests sets them once.
// No wait is longer than its deadline by more than one step.
constexpr std::chrono::milliseconds timeout_step{100};

std::chrono::milliseconds round_up_to_step(std::chrono::milliseconds span) {
    const auto steps = (span.count() + timeout_step.count() - 1) / timeout_step.count();
    return steps * timeout_step;
}

// EAGAIN is how the kernel says that a time-out has passed.
[[noreturn]] void fail(int error_number, const std::string& what) {
    if (error_number == EAGAIN) {
        throw LinkError(ETIMEDOUT, "the call-home service did not answer in time");
    }
    if (error_number == EINTR) {
        throw LinkError(EINTR, "the command was interrupted");
    }
    if (error_number == EPIPE || error_number == ECONNRESET) {
        throw LinkError(ECONNRESET, "the call-home service closed the connection before it had answered");
    }
    throw LinkError(error_number, what + ": " + ::strerrordesc_np(error_number));
}

sockaddr_un address_of(const std::filesystem::path& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& path = socket.native();
    if (path.empty()) {
        throw LinkError(ENOENT, "no call-home service was named");
    }
    if (path.size() >= sizeof address.sun_path) {
        throw LinkError(ENAMETOOLONG, "the path of the call-home service's socket is too long: " + path);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

void check_peer(int socket) {
    ucred peer{};
    socklen_t length = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        fail(errno, "the call-home service's identity cannot be told");
    }
    if (peer.uid != 0 && peer.uid != ::geteuid()) {
        throw LinkError(EACCES, "the socket is held by a program of user " + std::to_string(peer.uid) +
                                    ", which is neither root nor you; nothing was sent to it");
    }
}

// Leaves out the bytes that have been sent.
void advance(FrameParts& parts, std::size_t sent) {
    for (iovec& part : parts) {
        const std::size_t done = std::min(sent, part.iov_len);
        part.iov_base = static_cast<std::byte*>(part.iov_base) + done;
        part.iov_len -= done;
        sent -= done;
    }
}

std::size_t bytes_in(const FrameParts& parts) {
    return parts[0].iov_len + parts[1].iov_len;
}

}  // namespace

Connection::Connection(const std::filesystem::path& socket, const Deadline& deadline)
    : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), owner_(::getpid()) {
    const sockaddr_un address = address_of(socket);
    if (!socket_.is_open()) {
        fail(errno, "no socket can be opened");
    }
    // The send time-out bounds connect(), too: a service may be too busy to accept.
    set_timeout(SO_SNDTIMEO, send_timeout_, deadline);
    if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail(errno, "no call-home service answers on " + socket.native());
    }
    check_peer(socket_.get());
}

bool Connection::send(FrameParts parts, const Deadline& deadline) {
    const std::size_t whole = bytes_in(parts);
    while (bytes_in(parts) > 0) {
        set_timeout(SO_SNDTIMEO, send_timeout_, deadline);
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = parts.size();
        const ssize_t sent = ::sendmsg(socket_.get(), &message, MSG_NOSIGNAL);
        if (sent < 0) {
            const bool is_gone = errno == EPIPE || errno == ECONNRESET;
            if (is_gone && bytes_in(parts) == whole) {
                return false;
            }
            fail(errno, "the request cannot be sent");
        }
        advance(parts, static_cast<std::size_t>(sent));
    }
    return true;
}

std::size_t Connection::receive(std::span<std::byte> buffer, const Deadline& deadline) {
    set_timeout(SO_RCVTIMEO, receive_timeout_, deadline);
    const ssize_t received = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (received <= 0) {
        fail(received == 0 ? ECONNRESET : errno, "the reply cannot be read");
    }
    return static_cast<std::size_t>(received);
}

bool Connection::belongs_to_this_process() const {
    return owner_ == ::getpid();
}

void Connection::set_timeout(int option, Timeout& current, const Deadline& deadline) {
    const Timeout wanted = round_up_to_step(deadline.left());
    if (wanted == current) {
        return;
    }
    const auto seconds = std::chrono::floor<std::chrono::seconds>(wanted);
    const std::chrono::microseconds rest = wanted - seconds;
    timeval value{};
    value.tv_sec = seconds.count();
    value.tv_usec = rest.count();
    if (::setsockopt(socket_.get(), SOL_SOCKET, option, &value, sizeof value) != 0) {
        fail(errno, "no time-out can be set");
    }
    current = wanted;
}

}  // namespace callhome::platform
