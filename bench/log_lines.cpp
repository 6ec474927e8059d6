#include "log_lines.h"

#include <re2/re2.h>

#include <array>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "signatures/log_matcher.h"

namespace callhome::bench {
namespace {

constexpr std::uint32_t signatures = 100;
constexpr int line_count = 20'000;
constexpr double shown_lines = 1'000;
constexpr unsigned one_in = 100;  // lines that a signature waits for

// As people write them: words of a message with a number, or a choice, or anything between.
std::string pattern_of(std::uint32_t signature) {
    constexpr std::array endings{"failed with status [0-9]+", "(timed out|was reset) on port [0-9]+",
                                 ".*temperature .* too high", "\\[[0-9]+\\]: (error|fatal): "};
    return "unit" + std::to_string(signature) + " " + endings[signature % endings.size()];
}

std::string line_of(unsigned number, std::minstd_rand& random) {
    const std::string unit = std::to_string(random() % signatures);
    const std::string value = std::to_string(random() % 1000);
    if (number % one_in == 0) {
        return "kernel: unit" + std::to_string(random() % signatures / 4 * 4) + " failed with status " +
               value;
    }
    return "daemon" + unit + "[" + value + "]: session " + value + " of user ops" + unit +
           " opened on port " + value + ", unit" + unit + " answers within " + value + " ms";
}

std::vector<std::string> sample_lines() {
    std::minstd_rand random(1);
    std::vector<std::string> lines;
    for (unsigned number = 0; number < line_count; ++number) {
        lines.push_back(line_of(number, random));
    }
    return lines;
}

}  // namespace

Sample compare_log_lines(int pairs) {
    const std::vector<std::string> lines = sample_lines();
    std::vector<service::LogMatcher::Pattern> patterns;
    for (std::uint32_t id = 0; id < signatures; ++id) {
        patterns.push_back({id, pattern_of(id)});
    }
    const service::LogMatcher matcher(patterns);
    const RE2 one(pattern_of(0));
    std::size_t found = 0;
    const auto all = [&] {
        for (const std::string& line : lines) {
            found += matcher.match(line).size();
        }
    };
    const auto floor = [&] {
        for (const std::string& line : lines) {
            found += RE2::PartialMatch(line, one) ? 1 : 0;
        }
    };
    Sample sample = compare(pairs, 1, all, floor);
    if (found == 0) {
        throw std::runtime_error("no line was found: nothing was measured");
    }
    sample.ours *= shown_lines / line_count;
    sample.floor *= shown_lines / line_count;
    return sample;
}

}  // namespace callhome::bench
