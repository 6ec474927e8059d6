// Where log lines come from.
#pragma once

#include <filesystem>
#include <optional>

#include <asio/io_context.hpp>

#include "signatures/journal.h"
#include "signatures/log_socket.h"

namespace callhome::service {

struct LogSettings {
    std::filesystem::path socket;  // programs send lines here
    SocketAccess access = SocketAccess::own_user;
    std::optional<std::filesystem::path> journal_folder;  // nothing for the journal of this machine
};

// The socket is there from the beginning; the journal is read as long as somebody listens to it. A source
// that cannot be opened is a warning in the log, no more: the others and all else go on.
class LogSources {
 public:
    LogSources(asio::io_context& io, LogSettings settings, TakeLine take);

    void listen(bool wanted);

 private:
    asio::io_context& io_;
    const LogSettings settings_;
    const TakeLine take_;
    std::optional<LogSocket> socket_;
    std::optional<Journal> journal_;
};

}  // namespace callhome::service
