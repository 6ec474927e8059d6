// Which signatures a line of the log concerns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace re2 {
class RE2;
}

namespace callhome::service {

// A longer line counts up to here.
inline constexpr std::size_t longest_log_line = 8192;  // bytes

// All patterns at once: a line is read once, in time that grows with its length only, whatever it and the
// patterns are, and in bounded memory.
class LogMatcher {
 public:
    struct Pattern {
        std::uint32_t id = 0;
        std::string expression;  // RE2, found anywhere in a line

        bool operator==(const Pattern&) const = default;
    };

    LogMatcher();  // matches nothing
    // A pattern that is none, or too large, is left out: ids of these are in refused().
    explicit LogMatcher(std::span<const Pattern> patterns);
    ~LogMatcher();
    LogMatcher(LogMatcher&&) noexcept;
    LogMatcher& operator=(LogMatcher&&) noexcept;

    // The ids whose patterns are found in the line, in the order of the patterns. The line may hold any
    // bytes.
    std::vector<std::uint32_t> match(std::string_view line) const;

    const std::vector<std::uint32_t>& refused() const { return refused_; }
    bool is_empty() const { return patterns_.empty(); }

 private:
    struct Set;  // all patterns in one automaton
    struct Entry {
        std::uint32_t id;
        std::unique_ptr<re2::RE2> pattern;
    };

    std::vector<std::uint32_t> match_one_by_one(std::string_view line) const;

    std::vector<Entry> patterns_;
    std::vector<std::uint32_t> refused_;
    std::unique_ptr<Set> set_;  // a null pointer where all of them do not fit into one
};

}  // namespace callhome::service
