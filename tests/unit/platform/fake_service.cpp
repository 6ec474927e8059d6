#include "fake_service.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <stdexcept>

namespace callhome::platform::test {
namespace {

constexpr int listener_backlog = 16;

}  // namespace

std::string frame_bytes(const protocol::FrameHeader& header, const std::string& body) {
    const auto bytes = protocol::encode(header);
    return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()) + body;
}

std::string Peer::read_exactly(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t filled = 0;
    while (filled < count) {
        const ssize_t received = ::recv(socket_.get(), bytes.data() + filled, count - filled, 0);
        if (received <= 0) {
            return {};
        }
        filled += static_cast<std::size_t>(received);
    }
    return bytes;
}

std::optional<Frame> Peer::read_frame() {
    const std::string header_text = read_exactly(sizeof(protocol::FrameHeader));
    if (header_text.empty()) {
        return std::nullopt;
    }
    protocol::FrameHeaderBytes header_bytes;
    std::memcpy(header_bytes.data(), header_text.data(), header_text.size());
    const protocol::FrameHeader header = protocol::decode(header_bytes);
    const std::string body = read_exactly(header.length);
    return Frame{header, body, header_text + body};
}

void Peer::send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(socket_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(count);
    }
}

void Peer::reply(const Frame& request, const std::string& body, protocol::Status status) {
    send(frame_bytes(
        protocol::reply_header(request.header, status, static_cast<std::uint32_t>(body.size())), body));
}

bool Peer::client_leaves_within(int milliseconds) {
    pollfd wanted{.fd = socket_.get(), .events = POLLRDHUP, .revents = 0};
    return ::poll(&wanted, 1, milliseconds) > 0;
}

void Peer::wait_for_client_to_leave() {
    constexpr int for_ever = -1;
    client_leaves_within(for_ever);
}

std::function<void(int, Peer&)> answering(std::string body) {
    return [body = std::move(body)](int, Peer& peer) {
        while (const auto request = peer.read_frame()) {
            peer.reply(*request, body);
        }
    };
}

FileDescriptor listening_socket(const std::filesystem::path& path) {
    FileDescriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.native().size() + 1);
    ::unlink(path.c_str());
    if (::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener.get(), listener_backlog) != 0) {
        throw std::runtime_error("the fake service cannot listen on " + path.native());
    }
    return listener;
}

FakeService::FakeService(const std::filesystem::path& socket, Conversation conversation)
    : path_(socket), conversation_(std::move(conversation)), listener_(listening_socket(socket)) {
    acceptor_ = std::thread([this] { accept_connections(); });
}

FakeService::~FakeService() {
    ::shutdown(listener_.get(), SHUT_RDWR);
    acceptor_.join();
    listener_.reset();
    ::unlink(path_.c_str());
    for (std::thread& conversation : conversations_) {
        conversation.join();
    }
}

int FakeService::listen_again() {
    return ::listen(listener_.get(), listener_backlog);
}

void FakeService::accept_connections() {
    for (;;) {
        FileDescriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket.is_open()) {
            return;
        }
        const int number = connections_++;
        conversations_.emplace_back([this, number, client = std::move(socket)]() mutable {
            Peer peer(std::move(client));
            conversation_(number, peer);
        });
    }
}

}  // namespace callhome::platform::test
