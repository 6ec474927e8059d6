// Messages for people: at length for a mailbox, in few lines for a pager or telephone.
#pragma once

#include <cstddef>
#include <string>

#include "messages/content.h"

namespace callhome::service {

// Every part under its heading, wrapped; at most `size` bytes, cut between characters with a note.
std::string format_full_text(const MessageContent& content, std::size_t size);

// The subject and the few fields that say what happened, where, and whom to call; likewise cut.
std::string format_short_text(const MessageContent& content, std::size_t size);

}  // namespace callhome::service
