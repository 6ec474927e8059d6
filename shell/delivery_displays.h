// How deliveries have fared, what an operator does about them, and what a message would be.
#pragma once

#include <cstdint>
#include <string_view>

#include "parser.h"
#include "platform/command_output.h"
#include "platform/deliveries.h"

namespace callhome::shell {

class Session;

std::uint32_t show_profile_statistics(Session&, const ParsedCommand& command);
std::uint32_t show_preview(Session&, const ParsedCommand& command);
std::uint32_t clear_queue(Session&, const ParsedCommand&);
std::uint32_t resend_message(Session&, const ParsedCommand& command);

// What waits, as a whole; and its members of the document "queue".
void show_queue_state(const platform::QueueState& state);
void add_queue_state(platform::Members& members);

// The members of the documents "profile_statistics" and "preview"; empty for any other name.
platform::Members delivery_document(std::string_view name);

}  // namespace callhome::shell
