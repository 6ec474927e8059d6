// Log lines of the system journal.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <asio/io_context.hpp>
#include <asio/posix/basic_stream_descriptor.hpp>

#include "signatures/log_line.h"

struct sd_journal;

namespace callhome::service {

// Gives what is written from now on, as "program[123]: line"; not what this process writes by itself, or a
// signature could set itself off. Entries of many lines come line by line.
class Journal {
 public:
    // The journal of this machine, or the one whose files are in `folder`. Throws std::runtime_error that
    // says what is in the way.
    Journal(asio::io_context& io, const std::optional<std::filesystem::path>& folder, TakeLine take);
    ~Journal();

    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // False also for one that this user may not read.
    bool has_entries() const;

 private:
    struct Closed {
        void operator()(sd_journal* journal) const;
    };

    void wait();
    void take_turn();
    bool take_some();
    void take_entry();
    std::string field(const char* name) const;

    asio::io_context& io_;
    const TakeLine take_;
    const std::string own_process_;
    std::unique_ptr<sd_journal, Closed> journal_;
    asio::posix::basic_stream_descriptor<asio::io_context::executor_type> descriptor_;  // the journal's
    std::shared_ptr<Journal*> self_ = std::make_shared<Journal*>(this);
};

}  // namespace callhome::service
