#include "trace/traces.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <iterator>
#include <utility>
#include <vector>

#include "messages/text.h"
#include "protocol/records/trace.h"
#include "trace/request_words.h"

namespace callhome::service {
namespace {

constexpr std::array<std::string_view, 3> level_words{"info", "warning", "error"};

// "2026-11-21 14:05:03.123", in local time.
std::string time_text(Traces::TimePoint at) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(at);
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(at - whole);
    const std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    constexpr std::size_t longest_time = 32;
    std::array<char, longest_time> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%F %T", &parts);
    return fmt::format("{}.{:03}", std::string_view(text.data(), length), rest.count());
}

std::string duration_text(std::chrono::microseconds time) {
    return fmt::format("{:.1f} ms", std::chrono::duration<double, std::milli>(time).count());
}

std::string result_text(protocol::Status status) {
    if (status == protocol::Status::ok) {
        return "done";
    }
    const char* text = protocol::text_of(status);
    return text == nullptr ? fmt::format("status {:#x}", static_cast<std::uint32_t>(status)) : text;
}

}  // namespace

Traces::Traces(const TraceLimits& limits, Now now) : limits_(limits), now_(std::move(now)) {}

bool Traces::repeats_last_read(const TracedRequest& request) const {
    if (reads_.empty()) {
        return false;
    }
    const TracedRequest& last = reads_.back().request;
    return last.opcode == request.opcode && last.operation == request.operation &&
           last.status == request.status && last.user == request.user;
}

void Traces::note_request(const TracedRequest& request) {
    const TimePoint now = now_();
    const bool reads = is_reading(request.operation);
    const std::lock_guard lock(mutex_);
    if (reads && repeats_last_read(request)) {
        RequestEntry& last = reads_.back();
        ++last.count;
        last.last_at = now;
        last.request.time = std::max(last.request.time, request.time);
        return;
    }
    std::deque<RequestEntry>& requests = reads ? reads_ : changes_;
    requests.push_back({{++count_, now}, request, 1, now});
    if (requests.size() > limits_.requests) {
        requests.pop_front();
    }
}

void Traces::note_line(TracedLevel level, TimePoint at, std::string_view text) {
    std::string line(cut_to(clean_line(text), limits_.longest_line));
    const std::lock_guard lock(mutex_);
    Lines& lines = level == TracedLevel::info ? lines_ : errors_;
    lines.bytes += line.size();
    lines.entries.push_back({{++count_, at}, level, std::move(line)});
    while (lines.entries.size() > limits_.lines || lines.bytes > limits_.bytes) {
        lines.bytes -= lines.entries.front().text.size();
        lines.entries.pop_front();
    }
}

std::string Traces::text_of(const RequestEntry& entry) {
    const TracedRequest& request = entry.request;
    std::string text = fmt::format("{} request: {} by user {}: {}, {}", time_text(entry.at),
                                   words_of_request(request.opcode, request.operation), request.user,
                                   result_text(request.status), duration_text(request.time));
    if (entry.count > 1) {
        text += fmt::format(" at most; {} times until {}", entry.count, time_text(entry.last_at));
    }
    return text + "\n";
}

std::string Traces::text_of(const LineEntry& entry) {
    return fmt::format("{} {}: {}\n", time_text(entry.at),
                       level_words.at(static_cast<std::size_t>(entry.level)), entry.text);
}

std::optional<std::string> Traces::text_of(std::string_view buffer) const {
    const bool is_whole = buffer == protocol::whole_trace;
    if (!is_whole && buffer != protocol::error_trace) {
        return std::nullopt;
    }
    std::vector<NumberedLine> lines;
    {
        const std::lock_guard lock(mutex_);
        const auto add = [&lines](const auto& entries) {
            for (const auto& entry : entries) {
                lines.push_back({entry.number, text_of(entry)});
            }
        };
        add(errors_.entries);
        if (is_whole) {
            add(lines_.entries);
            add(changes_);
            add(reads_);
        }
    }
    std::ranges::sort(lines, {}, &NumberedLine::number);
    std::string text;
    for (const NumberedLine& line : lines) {
        text += line.text;
    }
    return text;
}

Traces::Size Traces::size_of(const Lines& lines) {
    return {lines.entries.size(), lines.bytes + lines.entries.size() * sizeof(LineEntry)};
}

Traces::Size Traces::size_of_changes() const {
    const std::lock_guard lock(mutex_);
    return {changes_.size(), changes_.size() * sizeof(RequestEntry)};
}

Traces::Size Traces::size_of_reads() const {
    const std::lock_guard lock(mutex_);
    return {reads_.size(), reads_.size() * sizeof(RequestEntry)};
}

Traces::Size Traces::size_of_lines() const {
    const std::lock_guard lock(mutex_);
    return size_of(lines_);
}

Traces::Size Traces::size_of_errors() const {
    const std::lock_guard lock(mutex_);
    return size_of(errors_);
}

}  // namespace callhome::service
