// What a text or number of a request may be. All texts are UTF-8; none may hold control characters or line
// separators, so that each can be printed and typed again: as one word, or as a text to the end of a line.
#pragma once

#include <cstdint>
#include <string_view>

namespace callhome::service {

bool is_line(std::string_view text);  // may be empty, may hold blanks, but not at its ends
bool is_word(std::string_view text);  // not empty, no blanks
bool is_name(std::string_view text);  // a word of printable characters only
// A word without quotes, with text on both sides of its one '@'.
bool is_email_address(std::string_view text);
bool is_url(std::string_view text);       // a word: http:// or https:// and a host
bool is_host(std::string_view text);      // an IPv4 address, an IPv6 address or a host name
bool is_vrf_name(std::string_view text);  // a word, and not too long to be typed

bool is_show_command(std::string_view text);  // a line, what the operator could type: a display and no more

// An item that need not be there.
template <typename Check>
bool is_empty_or(Check check, std::string_view text) {
    return text.empty() || check(text);
}

inline constexpr std::uint32_t highest_port = 65'535;

bool is_address_type(std::uint32_t number);  // one of protocol::AddressType

// `text` cut to at most `limit` bytes: behind the last whole line that fits, or behind the last whole
// character when not even one line does.
std::string_view cut_text(std::string_view text, std::size_t limit);

}  // namespace callhome::service
