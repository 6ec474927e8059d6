#include "requests/checks.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "protocol/records/mail.h"

namespace callhome::service {
namespace {

bool breaks_lines(gunichar character) {
    const GUnicodeType type = g_unichar_type(character);
    return type == G_UNICODE_CONTROL || type == G_UNICODE_LINE_SEPARATOR ||
           type == G_UNICODE_PARAGRAPH_SEPARATOR;
}

bool is_blank(gunichar character) {
    return g_unichar_isspace(character) != FALSE || breaks_lines(character);
}

bool is_invisible(gunichar character) {
    return is_blank(character) || g_unichar_isprint(character) == FALSE;
}

template <typename Refused>
bool has_no(std::string_view text, Refused refused) {
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE) {
        return false;
    }
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end; at = g_utf8_next_char(at)) {
        if (refused(g_utf8_get_char(at))) {
            return false;
        }
    }
    return true;
}

bool continues_character(char byte) {
    constexpr unsigned char mask = 0xC0;
    constexpr unsigned char continuation = 0x80;
    return (static_cast<unsigned char>(byte) & mask) == continuation;
}

}  // namespace

bool is_line(std::string_view text) {
    return has_no(text, breaks_lines);
}

bool is_word(std::string_view text) {
    return !text.empty() && has_no(text, is_blank);
}

bool is_empty_or_word(std::string_view text) {
    return text.empty() || is_word(text);
}

bool is_name(std::string_view text) {
    return !text.empty() && has_no(text, is_invisible);
}

bool is_email_address(std::string_view text) {
    const std::size_t at = text.find('@');
    return is_word(text) && at != std::string_view::npos && at != 0 && at + 1 != text.size() &&
           text.find('@', at + 1) == std::string_view::npos;
}

bool is_url(std::string_view text) {
    constexpr std::array<std::string_view, 2> schemes{"http://", "https://"};
    const auto* scheme =
        std::ranges::find_if(schemes, [&](std::string_view start) { return text.starts_with(start); });
    if (scheme == schemes.end() || !is_word(text)) {
        return false;
    }
    const std::string_view rest = text.substr(scheme->size());
    return !rest.empty() && rest.front() != '/';
}

bool is_address_type(std::uint32_t number) {
    using protocol::AddressType;
    constexpr std::array known{AddressType::unknown, AddressType::ipv4, AddressType::ipv6,
                               AddressType::host_name};
    return std::ranges::find(known, static_cast<AddressType>(number)) != known.end();
}

std::string_view cut_text(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) {
        return text;
    }
    if (const std::size_t line_end = text.substr(0, limit).rfind('\n');
        line_end != std::string_view::npos) {
        return text.substr(0, line_end + 1);
    }
    std::size_t length = limit;
    while (length > 0 && continues_character(text[length])) {
        --length;
    }
    return text.substr(0, length);
}

}  // namespace callhome::service
