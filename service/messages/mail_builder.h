// E-mail as RFC 5322 and MIME want it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/records/destination_profile.h"

namespace callhome::service {

// Texts are taken as they come: what is no plain address stays out of the headers, and no text can
// bring a header of its own.
struct Mail {
    std::string from;  // must be a plain address
    std::vector<std::string> to;
    std::string reply_to;        // empty for none
    std::string return_receipt;  // likewise
    std::string subject;
    std::string message_id;  // without angle brackets
    long long time = 0;      // seconds since 1970
    protocol::MessageFormat format = protocol::MessageFormat::full_text;
    std::string body;  // valid UTF-8; XML travels as an attachment
};

// The whole e-mail with CRLF line ends, in 7-bit bytes, no line longer than 998 of them.
std::string build_mail(const Mail& mail);

// What a mail that is sent again has of its own.
struct Renewal {
    std::string subject;
    std::string message_id;  // without angle brackets
    long long time = 0;      // seconds since 1970
    // What the text says of its own identity, and shall say. Empty where it says nothing.
    std::string old_identity;
    std::string new_identity;
};

// `mail`, as build_mail() has made it, with an identity of its own; it refers to the one that it repeats.
// Nothing when it cannot be read.
std::optional<std::string> renew_mail(const std::string& mail, const Renewal& renewal);

// `text` with each `old` replaced; unchanged for an empty one.
std::string with_replaced(std::string text, std::string_view old, std::string_view replacement);

}  // namespace callhome::service
