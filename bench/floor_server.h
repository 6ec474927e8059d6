// The least that an exchange over a local socket can cost: a bare epoll server that answers a request of
// a fixed size by a reply of a fixed size and, when asked to, commits one row before it does.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace callhome::bench {

class FloorServer {
 public:
    // Sizes in bytes, headers included. With a database file, each request commits one row of it with
    // the settings that the service uses (write-ahead log, full synchronisation). The server is a program
    // started anew, as the service is, so that the kernel has the same choice where to put it.
    FloorServer(const std::string& socket, std::size_t request_size, std::size_t reply_size,
                const std::optional<std::filesystem::path>& database);
    ~FloorServer();

    FloorServer(const FloorServer&) = delete;
    FloorServer& operator=(const FloorServer&) = delete;

 private:
    pid_t process_ = 0;
    std::string socket_;
};

// The first argument that makes this program a floor server; what follows is for run_floor_server.
inline constexpr const char* floor_server_option = "--floor-server";
int run_floor_server(std::span<char*> arguments);

// Its only client, of the same sizes.
class FloorClient {
 public:
    FloorClient(const std::string& socket, std::size_t request_size, std::size_t reply_size);
    ~FloorClient();

    FloorClient(const FloorClient&) = delete;
    FloorClient& operator=(const FloorClient&) = delete;

    // One exchange: one send, one receive.
    void round_trip();

 private:
    int connection_ = -1;
    std::vector<std::byte> request_;
    std::vector<std::byte> reply_;
};

}  // namespace callhome::bench
