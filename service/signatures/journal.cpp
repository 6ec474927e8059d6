#include "signatures/journal.h"

#include <systemd/sd-journal.h>
#include <unistd.h>

#include <asio/post.hpp>
#include <cstdint>
#include <system_error>

#include "signatures/log_matcher.h"

namespace callhome::service {
namespace {

constexpr int entries_a_turn = 64;

// As sd-journal reports errors.
void check(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), what);
    }
}

sd_journal* open(const std::optional<std::filesystem::path>& folder) {
    sd_journal* journal = nullptr;
    check(folder ? ::sd_journal_open_directory(&journal, folder->c_str(), 0)
                 : ::sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY),
          "the system journal cannot be opened");
    return journal;
}

}  // namespace

void Journal::Closed::operator()(sd_journal* journal) const {
    ::sd_journal_close(journal);
}

Journal::Journal(asio::io_context& io, const std::optional<std::filesystem::path>& folder, TakeLine take)
    : io_(io),
      take_(std::move(take)),
      own_process_(std::to_string(::getpid())),
      journal_(open(folder)),
      descriptor_(io) {
    check(::sd_journal_set_data_threshold(journal_.get(), longest_log_line), "no threshold can be set");
    check(::sd_journal_seek_tail(journal_.get()), "the end of the system journal cannot be found");
    // The tail is a place behind the last entry; only a step back makes it one to go on from. In a journal
    // without any, what comes first is new.
    const int steps = ::sd_journal_previous(journal_.get());
    check(steps, "the system journal cannot be read");
    if (steps == 0) {
        check(::sd_journal_seek_head(journal_.get()), "the system journal cannot be read");
    }
    const int descriptor = ::sd_journal_get_fd(journal_.get());
    check(descriptor, "the system journal cannot be watched");
    descriptor_.assign(descriptor);
    wait();
}

Journal::~Journal() {
    self_.reset();
    if (descriptor_.is_open()) {
        descriptor_.release();
    }
}

bool Journal::has_entries() const {
    std::uint64_t first = 0;
    return ::sd_journal_get_cutoff_realtime_usec(journal_.get(), &first, nullptr) > 0;
}

void Journal::wait() {
    descriptor_.async_wait(descriptor_.wait_read,
                           [weak = std::weak_ptr(self_)](const asio::error_code& error) {
                               const auto self = weak.lock();
                               if (error || self == nullptr) {
                                   return;
                               }
                               ::sd_journal_process((*self)->journal_.get());
                               (*self)->take_turn();
                           });
}

// What is left over after a turn is not announced again.
void Journal::take_turn() {
    if (!take_some()) {
        wait();
        return;
    }
    asio::post(io_, [weak = std::weak_ptr(self_)] {
        if (const auto self = weak.lock()) {
            (*self)->take_turn();
        }
    });
}

// False when there is nothing more for now.
bool Journal::take_some() {
    for (int count = 0; count < entries_a_turn; ++count) {
        if (::sd_journal_next(journal_.get()) <= 0) {
            return false;
        }
        take_entry();
    }
    return true;
}

std::string Journal::field(const char* name) const {
    const void* data = nullptr;
    std::size_t length = 0;
    if (::sd_journal_get_data(journal_.get(), name, &data, &length) < 0) {
        return {};
    }
    const std::string_view assignment(static_cast<const char*>(data), length);  // "NAME=value"
    return std::string(assignment.substr(std::min(assignment.find('=') + 1, assignment.size())));
}

void Journal::take_entry() {
    const std::string process = field("_PID");
    if (process == own_process_) {
        return;
    }
    const std::string program = field("SYSLOG_IDENTIFIER");
    const std::string head =
        program.empty() ? "" : program + (process.empty() ? ": " : "[" + process + "]: ");
    each_line(field("MESSAGE"), [&](std::string_view line) { take_(head + std::string(line)); });
}

}  // namespace callhome::service
