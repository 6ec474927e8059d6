// Texts of unknown origin made fit for messages, headers and logs.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace callhome::service {

// Valid UTF-8 without control characters other than line ends: what is not UTF-8 becomes U+FFFD,
// a control character becomes a blank, CR LF becomes a line end. The result is also legal in XML 1.0.
std::string clean_text(std::string_view text);

// As clean_text, on one line and without blanks at its ends: fit for a header or a log line.
std::string clean_line(std::string_view text);

// The longest beginning of valid UTF-8 `text` that has at most `size` bytes and ends between characters;
// a mask in it stays whole or goes.
std::string_view cut_to(std::string_view text, std::size_t size);

// `text` in at most `size` bytes; where it was cut and there is room (5 bytes), it says so at
// its end.
std::string cut_with_note(std::string_view text, std::size_t size);

// Breaks lines between words at `width` characters; the lines after the first begin with `indent` blanks.
// A word that is longer than a line stays whole.
std::string wrap(std::string_view text, std::size_t width, std::size_t indent);

// Seconds since 1970 in local time as ISO 8601 with the zone's offset, "2024-03-01T08:00:00+01:00".
std::string iso_time(long long seconds);

// The name that this host calls itself where a domain name is wanted: letters, digits, '.' and '-'
// only; "localhost" when nothing is left.
std::string mail_host_name(std::string_view host_name);

// True for local@domain (or a local name alone) in visible ASCII, with nothing that could end the
// argument of an SMTP command or start another one.
bool is_plain_address(std::string_view address);

}  // namespace callhome::service
