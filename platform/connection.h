// One connection to the service's socket. All failures are LinkErrors; after one, the connection may
// stand in the middle of a frame and is of no further use.
#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <span>

#include "deadline.h"
#include "file_descriptor.h"

namespace callhome::platform {

using FrameParts = std::array<iovec, 2>;  // header and record

class Connection {
 public:
    // Connects, and makes sure that the peer runs as root or as this process's user. The error numbers
    // ENOENT and ECONNREFUSED mean that nobody listens, EACCES that the peer is not to be trusted.
    Connection(const std::filesystem::path& socket, const Deadline& deadline);

    // Sends all of it. False when the peer was gone before it took a single byte.
    bool send(FrameParts parts, const Deadline& deadline);
    // Waits for bytes and reads what has come, at least one.
    std::size_t receive(std::span<std::byte> buffer, const Deadline& deadline);

    // False in a process forked since: its parent reads the replies of this connection.
    bool belongs_to_this_process() const;

 private:
    using Timeout = std::chrono::milliseconds;

    void set_timeout(int option, Timeout& current, const Deadline& deadline);

    FileDescriptor socket_;
    pid_t owner_;
    Timeout send_timeout_{};
    Timeout receive_timeout_{};
};

}  // namespace callhome::platform
