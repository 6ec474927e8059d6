// Log lines that programs send to this service: a datagram socket, as syslog has one.
#pragma once

#include <filesystem>

#include <asio/io_context.hpp>
#include <asio/local/datagram_protocol.hpp>

#include "server/local_socket.h"
#include "signatures/log_line.h"

namespace callhome::service {

// A datagram holds one line or several, with or without a syslog head, and counts up to longest_log_line.
// A flood of them takes its turn with all else that waits for the io_context; senders wait meanwhile.
class LogSocket {
 public:
    // Throws std::runtime_error that says what is in the way.
    LogSocket(asio::io_context& io, const std::filesystem::path& path, SocketAccess access, TakeLine take);
    ~LogSocket();

    LogSocket(const LogSocket&) = delete;
    LogSocket& operator=(const LogSocket&) = delete;

 private:
    using Socket =
        asio::basic_datagram_socket<asio::local::datagram_protocol, asio::io_context::executor_type>;

    void wait();
    void take_some();

    const std::filesystem::path path_;
    const TakeLine take_;
    Socket socket_;
};

}  // namespace callhome::service
