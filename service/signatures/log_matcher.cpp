#include "signatures/log_matcher.h"

#include <re2/set.h>

#include <algorithm>

#include "signatures/pattern.h"

namespace callhome::service {
namespace {

constexpr std::int64_t memory_of_all = 32LL * 1024 * 1024;  // bytes, in one automaton

RE2::Options options_of_all() {
    RE2::Options options = pattern_options();
    options.set_max_mem(memory_of_all);
    return options;
}

}  // namespace

struct LogMatcher::Set {
    RE2::Set automaton{options_of_all(), RE2::UNANCHORED};
};

LogMatcher::LogMatcher() = default;
LogMatcher::~LogMatcher() = default;
LogMatcher::LogMatcher(LogMatcher&&) noexcept = default;
LogMatcher& LogMatcher::operator=(LogMatcher&&) noexcept = default;

LogMatcher::LogMatcher(std::span<const Pattern> patterns) : set_(std::make_unique<Set>()) {
    for (const Pattern& row : patterns) {
        auto pattern = std::make_unique<RE2>(row.expression, pattern_options());
        if (!pattern->ok()) {
            refused_.push_back(row.id);
            continue;
        }
        if (set_ != nullptr && set_->automaton.Add(row.expression, nullptr) < 0) {
            set_.reset();
        }
        patterns_.push_back({row.id, std::move(pattern)});
    }
    if (set_ != nullptr && !set_->automaton.Compile()) {
        set_.reset();
    }
}

std::vector<std::uint32_t> LogMatcher::match_one_by_one(std::string_view line) const {
    std::vector<std::uint32_t> ids;
    for (const Entry& entry : patterns_) {
        if (RE2::PartialMatch({line.data(), line.size()}, *entry.pattern)) {
            ids.push_back(entry.id);
        }
    }
    return ids;
}

std::vector<std::uint32_t> LogMatcher::match(std::string_view line) const {
    line = line.substr(0, longest_log_line);
    if (patterns_.empty()) {
        return {};
    }
    if (set_ == nullptr) {
        return match_one_by_one(line);
    }
    std::vector<int> found;
    RE2::Set::ErrorInfo error{};
    if (!set_->automaton.Match({line.data(), line.size()}, &found, &error)) {
        // Where the automaton has outgrown its memory, each pattern has its own.
        return error.kind == RE2::Set::kNoError ? std::vector<std::uint32_t>() : match_one_by_one(line);
    }
    std::ranges::sort(found);
    std::vector<std::uint32_t> ids;
    ids.reserve(found.size());
    for (const int index : found) {
        ids.push_back(patterns_[static_cast<std::size_t>(index)].id);
    }
    return ids;
}

}  // namespace callhome::service
