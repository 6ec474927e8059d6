// What the service has recorded: messages, their receivers, and the queue.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/command_output.h"
#include "platform/interface.h"

namespace callhome::shell {

// Each shows one display. The status is 0 when everything could be read; otherwise nothing is shown.
ServiceStatus show_message_list(std::optional<std::uint32_t> last);  // so many of them, the newest
ServiceStatus show_one_message(std::uint32_t id);
ServiceStatus show_waiting();

// The members of the documents "messages", "message" and "queue"; empty for any other name.
platform::Members message_document(std::string_view name);

}  // namespace callhome::shell
