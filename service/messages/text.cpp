#include "messages/text.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <glib.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>

#include "privacy/mask.h"

namespace callhome::service {
namespace {

// The longest for which there is room.
constexpr std::array<std::string_view, 2> cut_notes{"\n[cut]\n", "[cut]"};
constexpr gunichar replacement_character = 0xFFFD;
constexpr gunichar first_noncharacter = 0xFFFE;
constexpr gunichar last_noncharacter = 0xFFFF;
constexpr std::size_t longest_mail_address = 254;  // RFC 5321, 4.5.3.1.3
constexpr std::size_t longest_host_name = 253;
constexpr std::size_t minute_digits = 2;  // at the end of a zone offset, +0100

bool is_continuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

bool is_ascii_alphanumeric(char c) {
    return g_ascii_isalnum(c) != 0;
}

// Most texts, and nothing is to be done about them.
bool is_clean_ascii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return (c >= ' ' && c <= '~') || c == '\n'; });
}

gunichar cleaned(gunichar character) {
    if (character == '\n') {
        return character;
    }
    if (character >= first_noncharacter && character <= last_noncharacter) {
        return replacement_character;
    }
    return g_unichar_iscntrl(character) != 0 ? ' ' : character;
}

void append_character(std::string& text, gunichar character) {
    char bytes[6];  // what g_unichar_to_utf8 asks for
    text.append(bytes, static_cast<std::size_t>(g_unichar_to_utf8(character, bytes)));
}

std::size_t characters_in(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !is_continuation(byte); }));
}

}  // namespace

std::string clean_text(std::string_view text) {
    if (is_clean_ascii(text)) {
        return std::string(text);
    }
    std::string joined;
    joined.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool line_end = text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n';
        if (!line_end) {
            joined.push_back(text[at] == '\0' ? ' ' : text[at]);
        }
    }
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(joined.data(), static_cast<gssize>(joined.size())), &g_free);
    std::string result;
    result.reserve(joined.size());
    for (const char* at = valid.get(); *at != '\0'; at = g_utf8_next_char(at)) {
        append_character(result, cleaned(g_utf8_get_char(at)));
    }
    return result;
}

std::string clean_line(std::string_view text) {
    std::string result = clean_text(text);
    std::replace(result.begin(), result.end(), '\n', ' ');
    const std::size_t first = result.find_first_not_of(' ');
    if (first == std::string::npos) {
        return {};
    }
    return result.substr(first, result.find_last_not_of(' ') - first + 1);
}

std::string_view cut_to(std::string_view text, std::size_t size) {
    if (text.size() <= size) {
        return text;
    }
    while (size > 0 && is_continuation(text[size])) {
        --size;
    }
    return text.substr(0, before_mask(text, size));
}

std::string cut_with_note(std::string_view text, std::size_t size) {
    if (text.size() <= size) {
        return std::string(text);
    }
    for (const std::string_view note : cut_notes) {
        if (size >= note.size()) {
            return std::string(cut_to(text, size - note.size())).append(note);
        }
    }
    return std::string(cut_to(text, size));
}

std::string wrap(std::string_view text, std::size_t width, std::size_t indent) {
    std::string result;
    std::size_t column = indent;
    bool line_begins = true;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find_first_of(" \n", at), text.size());
        const std::string_view word = text.substr(at, end - at);
        const std::size_t length = characters_in(word);
        if (!line_begins && column + 1 + length > width) {
            result.append("\n").append(indent, ' ');
            column = indent;
        } else if (!line_begins) {
            result.push_back(' ');
            ++column;
        }
        result.append(word);
        column += length;
        line_begins = false;
        if (end < text.size() && text[end] == '\n') {
            result.append("\n").append(indent, ' ');
            column = indent;
            line_begins = true;
        }
        at = end + 1;
    }
    return result;
}

std::string iso_time(long long seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    ::tzset();  // the zone may have been changed since the service was started
    if (::localtime_r(&time, &local) == nullptr) {
        return "unknown";
    }
    const std::string offset = fmt::format("{:%z}", local);
    const std::string_view hours = std::string_view(offset).substr(0, offset.size() - minute_digits);
    const std::string_view minutes = std::string_view(offset).substr(hours.size());
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}{}:{}", local, hours, minutes);
}

std::string mail_host_name(std::string_view host_name) {
    std::string result;
    for (const char c : host_name.substr(0, longest_host_name)) {
        if (is_ascii_alphanumeric(c) || ((c == '-' || c == '.') && !result.empty())) {
            result.push_back(c);
        }
    }
    while (!result.empty() && !is_ascii_alphanumeric(result.back())) {
        result.pop_back();
    }
    return result.empty() ? "localhost" : result;
}

bool is_plain_address(std::string_view address) {
    constexpr std::string_view specials = "<>()[]\\,;:\"";
    const auto is_wrong = [&](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte <= ' ' || byte > '~' || specials.find(c) != std::string_view::npos;
    };
    const std::size_t sign = address.find('@');
    const bool parts_are_there = sign != 0 && sign + 1 != address.size();
    const bool one_sign = sign == std::string_view::npos || sign == address.rfind('@');
    return !address.empty() && address.size() <= longest_mail_address && parts_are_there && one_sign &&
           std::none_of(address.begin(), address.end(), is_wrong);
}

}  // namespace callhome::service
