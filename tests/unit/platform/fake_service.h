// A service whose every byte is scripted by a test.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "file_descriptor.h"
#include "protocol/frame.h"

namespace callhome::platform::test {

struct Frame {
    protocol::FrameHeader header;
    std::string body;
    std::string bytes;  // the whole of it, as it came
};

// The service's end of one connection.
class Peer {
 public:
    explicit Peer(FileDescriptor socket) : socket_(std::move(socket)) {}

    // The next request; nothing when the client has gone.
    std::optional<Frame> read_frame();
    void send(const std::string& bytes);
    void reply(const Frame& request, const std::string& body,
               protocol::Status status = protocol::Status::ok);
    // True when the client goes away within the time.
    bool client_leaves_within(int milliseconds);
    void wait_for_client_to_leave();
    void close() { socket_.reset(); }

 private:
    std::string read_exactly(std::size_t count);

    FileDescriptor socket_;
};

std::string frame_bytes(const protocol::FrameHeader& header, const std::string& body);

// Answers each request of a connection with `body` until the client leaves.
std::function<void(int, Peer&)> answering(std::string body);

class FakeService {
 public:
    // Is given the number of the connection, from 0, and its end of it. Runs on a thread of its own.
    using Conversation = std::function<void(int connection, Peer& peer)>;

    FakeService(const std::filesystem::path& socket, Conversation conversation);
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;
    // Clients must have left by then, or leave by themselves.
    ~FakeService();

    int connections() const { return connections_; }
    // Listens as the present effective user. 0, or -1 and errno.
    int listen_again();

 private:
    void accept_connections();

    std::filesystem::path path_;
    Conversation conversation_;
    FileDescriptor listener_;
    std::atomic<int> connections_ = 0;
    std::vector<std::thread> conversations_;
    std::thread acceptor_;
};

FileDescriptor listening_socket(const std::filesystem::path& path);

}  // namespace callhome::platform::test
