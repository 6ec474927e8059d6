// Raises events over several connections at once, each waiting for its answer, and prints the seconds until
// all are acknowledged: one loop, so that it takes little of the processor from the service.
//
// Usage: callhome_raise_events SOCKET EVENTS CONNECTIONS STATUS    the status that each has to be answered
// with
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "protocol/frame.h"
#include "protocol/layout.h"
#include "protocol/records/message.h"

namespace callhome::bench {
namespace {

constexpr std::chrono::minutes patience{2};  // for one answer

struct Task {
    std::string socket;
    std::uint32_t events = 0;
    std::uint32_t connections = 0;
    std::uint32_t status = 0;
};

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::uint32_t number(const char* text) {
    std::uint32_t value = 0;
    const char* const end = text + std::strlen(text);
    const auto [stopped, error] = std::from_chars(text, end, value);
    if (error != std::errc() || stopped != end) {
        throw std::runtime_error(std::string("not a number: ") + text);
    }
    return value;
}

template <std::size_t size>
void write(char (&field)[size], const std::string& text) {
    std::memcpy(field, text.data(), std::min(text.size(), size - 1));
}

std::string frame_of(std::uint32_t event) {
    protocol::AlertRecord record{};
    write(record.alert, "PERIODIC_CONFIGURATION");
    write(record.source, "bench");
    write(record.text, "event " + std::to_string(event));
    record.severity = protocol::severity_of_its_name;
    protocol::convert_byte_order(std::as_writable_bytes(std::span(&record, 1)),
                                 protocol::layout_of<protocol::AlertRecord>());
    const auto header = protocol::encode(protocol::request_header(
        static_cast<std::uint32_t>(protocol::Opcode::post_alert),
        static_cast<std::uint32_t>(protocol::Operation::set), static_cast<std::uint32_t>(sizeof record)));
    std::string frame(reinterpret_cast<const char*>(header.data()), header.size());
    return frame.append(reinterpret_cast<const char*>(&record), sizeof record);
}

class Raiser {
 public:
    explicit Raiser(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path) {
            throw std::runtime_error("the path of the socket is too long");
        }
        std::memcpy(address.sun_path, path.data(), path.size());
        if (socket_ < 0 ||
            ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            fail("the service cannot be reached");
        }
    }
    ~Raiser() { ::close(socket_); }
    Raiser(const Raiser&) = delete;
    Raiser& operator=(const Raiser&) = delete;

    int socket() const { return socket_; }

    void raise(std::uint32_t event) {
        const std::string frame = frame_of(event);
        if (::send(socket_, frame.data(), frame.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(frame.size())) {
            fail("an event cannot be sent");
        }
    }

    // Reads what has come; true when that completes the answer, which has to have the status.
    bool read_answer(std::uint32_t status) {
        std::array<char, 4096> piece{};
        const ssize_t count = ::recv(socket_, piece.data(), piece.size(), 0);
        if (count <= 0) {
            fail("the service does not answer");
        }
        received_.append(piece.data(), static_cast<std::size_t>(count));
        protocol::FrameHeaderBytes bytes{};
        if (received_.size() < bytes.size()) {
            return false;
        }
        std::memcpy(bytes.data(), received_.data(), bytes.size());
        const protocol::FrameHeader header = protocol::decode(bytes);
        if (received_.size() < bytes.size() + header.length) {
            return false;
        }
        if (header.status != status) {
            throw std::runtime_error("the service answered " + std::to_string(header.status) + ": " +
                                     received_.substr(bytes.size()));
        }
        received_.clear();
        return true;
    }

 private:
    int socket_;
    std::string received_;
};

void raise_all(const Task& task) {
    std::vector<std::unique_ptr<Raiser>> raisers;
    std::vector<pollfd> waiting;
    std::uint32_t raised = 0;
    while (raisers.size() < task.connections && raised < task.events) {
        raisers.push_back(std::make_unique<Raiser>(task.socket));
        waiting.push_back({.fd = raisers.back()->socket(), .events = POLLIN, .revents = 0});
        raisers.back()->raise(raised++);
    }
    std::uint32_t acknowledged = 0;
    while (acknowledged < task.events) {
        const auto most = std::chrono::milliseconds(patience).count();
        if (::poll(waiting.data(), waiting.size(), static_cast<int>(most)) <= 0) {
            throw std::runtime_error("the service does not answer in time");
        }
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            if (waiting[i].revents == 0 || !raisers[i]->read_answer(task.status)) {
                continue;
            }
            ++acknowledged;
            if (raised < task.events) {
                raisers[i]->raise(raised++);
            }
        }
    }
}

void run(const Task& task) {
    const auto start = std::chrono::steady_clock::now();
    raise_all(task);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::printf("%f\n", taken.count());
}

}  // namespace
}  // namespace callhome::bench

int main(int argument_count, char** arguments) {
    using callhome::bench::number;
    constexpr int all_arguments = 5;
    if (argument_count != all_arguments) {
        std::fprintf(stderr, "usage: callhome_raise_events SOCKET EVENTS CONNECTIONS STATUS\n");
        return 1;
    }
    try {
        callhome::bench::run({.socket = arguments[1],
                              .events = number(arguments[2]),
                              .connections = number(arguments[3]),
                              .status = number(arguments[4])});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "callhome_raise_events: %s\n", error.what());
        return 1;
    }
}
