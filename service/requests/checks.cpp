#include "requests/checks.h"

#include <arpa/inet.h>
#include <glib.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

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

bool is_host_label(std::string_view label) {
    constexpr std::size_t longest = 63;
    return !label.empty() && label.size() <= longest && !label.starts_with('-') && !label.ends_with('-') &&
           std::ranges::all_of(label, [](char letter) {
               return g_ascii_isalnum(letter) || letter == '-' || letter == '_';
           });
}

// A name whose last label is a number would be a misspelt IPv4 address.
bool is_host_name(std::string_view text) {
    if (text.ends_with('.')) {
        text.remove_suffix(1);
    }
    for (std::size_t dot = 0; (dot = text.find('.')) != std::string_view::npos;
         text.remove_prefix(dot + 1)) {
        if (!is_host_label(text.substr(0, dot))) {
            return false;
        }
    }
    return is_host_label(text) && text.find_first_not_of("0123456789") != std::string_view::npos;
}

bool continues_character(char byte) {
    constexpr unsigned char mask = 0xC0;
    constexpr unsigned char continuation = 0x80;
    return (static_cast<unsigned char>(byte) & mask) == continuation;
}

}  // namespace

// Blanks at the ends would be lost when the line is typed.
bool is_line(std::string_view text) {
    return has_no(text, breaks_lines) && !text.starts_with(' ') && !text.ends_with(' ');
}

bool is_show_command(std::string_view text) {
    constexpr std::string_view show = "show";
    return is_line(text) && text.starts_with(show) &&
           (text.size() == show.size() || text[show.size()] == ' ');
}

bool is_word(std::string_view text) {
    return !text.empty() && has_no(text, is_blank);
}

bool is_name(std::string_view text) {
    return !text.empty() && has_no(text, is_invisible);
}

bool is_email_address(std::string_view text) {
    const std::size_t at = text.find('@');
    return is_word(text) && at != std::string_view::npos && at != 0 && at + 1 != text.size() &&
           text.find('@', at + 1) == std::string_view::npos &&
           text.find_first_of("<>(),;:\\\"") == std::string_view::npos;
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

bool is_host(std::string_view text) {
    const std::string host(text);
    std::array<unsigned char, sizeof(in6_addr)> address{};
    return ::inet_pton(AF_INET, host.c_str(), address.data()) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), address.data()) == 1 || is_host_name(text);
}

bool is_vrf_name(std::string_view text) {
    constexpr std::size_t longest = 31;
    return is_word(text) && text.size() <= longest;
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
