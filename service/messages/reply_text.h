// What the operator reads about the receivers of a message.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "delivery/post_office.h"
#include "events/duplicate_throttle.h"

namespace callhome::service {

struct ReceiverName {
    std::string address;  // e-mail address or URL
    std::string profile;
};

// One line, without a line end. `wording` names the kind of message: "test".
std::string report_line(std::string_view wording, const ReceiverName& receiver,
                        const AttemptReport& report);

// For a receiver that was not reached within the time for an answer.
std::string unfinished_line(std::string_view wording, const ReceiverName& receiver);

// For an event that was counted only; `now` in seconds since 1970.
std::string duplicate_line(std::string_view wording, const Repeats& repeats,
                           std::chrono::milliseconds window, std::int64_t now);

// "3 times since …", for the message that tells it; empty when there is nothing to tell.
std::string repeats_text(const Repeats& repeats, std::int64_t now);

// For a mail server that another one has stood in for; `failure` says which and why.
std::string failed_server_line(std::string_view failure);

struct ReplyLine {
    bool delivered = false;
    std::string text;
};

// All lines in at most `size` bytes. Where they do not fit, those that tell of trouble come first, and
// the last line says how many were left out.
std::string join_reply(const std::vector<ReplyLine>& lines, std::size_t size);

}  // namespace callhome::service
