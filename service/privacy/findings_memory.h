// What was found in the texts that were looked at last.
#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "privacy/checks.h"

namespace callhome::service {

struct Findings {
    std::vector<Found> secrets;         // by place; none overlaps another
    std::vector<std::string> to_learn;  // to be looked for in other texts too; each once
};

struct FindingsLimits {
    std::size_t bytes = std::size_t{1} << 20U;  // of the texts and what was found in them
    std::size_t texts = 1024;
};

// Keeps within its limits: the text that was not asked for the longest time goes first.
class FindingsMemory {
 public:
    explicit FindingsMemory(const FindingsLimits& limits) : limits_(limits) {}

    FindingsMemory(const FindingsMemory&) = delete;
    FindingsMemory& operator=(const FindingsMemory&) = delete;

    // A text that would take most of the room on its own is not worth it.
    bool is_kept(std::string_view text) const;
    // Null for a text that it does not know; only such a one may be kept. Good until the next keep().
    const Findings* of(std::string_view text);
    const Findings& keep(std::string_view text, Findings findings);

    std::size_t bytes() const { return bytes_; }
    std::size_t texts() const { return by_text_.size(); }

 private:
    struct Entry {
        std::string text;
        Findings findings;
        std::size_t weight;
    };
    void drop_oldest();

    const FindingsLimits limits_;
    std::size_t bytes_ = 0;
    std::list<Entry> entries_;  // the latest first
    std::unordered_map<std::string_view, std::list<Entry>::iterator> by_text_;
};

}  // namespace callhome::service
