#include "signatures/software_version.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace callhome::service {
namespace {

constexpr std::size_t most_digits = 9;  // what surely fits 32 bits
constexpr std::string_view digits = "0123456789";

// Takes the first number and the point behind it off the text; 0 when nothing is left.
std::uint32_t take_number(std::string_view& version) {
    const std::size_t end = std::min(version.find('.'), version.size());
    std::uint32_t number = 0;
    std::from_chars(version.data(), version.data() + end, number);
    version.remove_prefix(std::min(end + 1, version.size()));
    return number;
}

}  // namespace

bool is_software_version(std::string_view text) {
    while (true) {
        const std::size_t end = std::min(text.find('.'), text.size());
        if (end == 0 || end > most_digits ||
            text.substr(0, end).find_first_not_of(digits) != std::string_view::npos) {
            return false;
        }
        if (end == text.size()) {
            return true;
        }
        text.remove_prefix(end + 1);
    }
}

bool meets_version(std::string_view running, std::string_view required) {
    while (!required.empty()) {
        const std::uint32_t has = take_number(running);
        const std::uint32_t needs = take_number(required);
        if (has != needs) {
            return has > needs;
        }
    }
    return true;
}

}  // namespace callhome::service
