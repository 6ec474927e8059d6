#include "text_format.h"

#include <algorithm>
#include <charconv>

namespace callhome::platform {
namespace {

constexpr std::size_t widest = 4096;  // a width beyond it is no layout

std::size_t read_number(std::string_view& text) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc() ? std::min(number, widest) : widest;
}

bool starts_with_digit(std::string_view text) {
    return !text.empty() && text[0] >= '0' && text[0] <= '9';
}

// Reads what follows a percent sign. Nothing when that is not a string conversion; `text` then has
// lost an unknown part of it.
std::optional<Conversion> read_conversion(std::string_view& text) {
    Conversion conversion;
    const std::size_t flags = std::min(text.find_first_not_of("-+ #0"), text.size());
    conversion.left_aligned = text.substr(0, flags).find('-') != std::string_view::npos;
    text.remove_prefix(flags);
    if (starts_with_digit(text)) {
        conversion.width = read_number(text);
    }
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        conversion.precision = starts_with_digit(text) ? read_number(text) : 0;
    }
    if (!text.starts_with('s')) {
        return std::nullopt;
    }
    text.remove_prefix(1);
    return conversion;
}

}  // namespace

std::string expand(std::string_view format, const NextValue& next_value) {
    std::string out;
    while (!format.empty()) {
        const std::size_t plain = std::min(format.find('%'), format.size());
        out += format.substr(0, plain);
        format.remove_prefix(plain);
        if (format.starts_with("%%")) {
            out += '%';
            format.remove_prefix(2);
            continue;
        }
        if (format.empty()) {
            break;
        }
        std::string_view rest = format.substr(1);
        const auto conversion = read_conversion(rest);
        const auto value = conversion ? next_value(*conversion) : std::nullopt;
        if (value) {
            out += *value;
            format = rest;
        } else {
            out += '%';
            format.remove_prefix(1);
        }
    }
    return out;
}

std::string render(std::string_view value, const Conversion& conversion) {
    std::string text(value.substr(0, conversion.precision));
    if (text.size() < conversion.width) {
        const std::size_t at = conversion.left_aligned ? text.size() : 0;
        text.insert(at, conversion.width - text.size(), ' ');
    }
    return text;
}

}  // namespace callhome::platform
