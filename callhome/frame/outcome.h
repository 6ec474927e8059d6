// What a handler checks before its request and says after it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "callhome/context.h"
#include "protocol/status.h"

namespace callhome::library {

// What a handler returns.
inline constexpr std::uint32_t done = 0;
inline constexpr std::uint32_t failed = 1;

inline constexpr std::uint32_t active = 1;  // CommandContext::active_sup

inline constexpr const char* active_sup_only = "this command is supported on active sup only\n";
// The words of signatures and data privacy.
inline constexpr const char* command_on_active_sup_only = "This command is supported on active sup only.\n";
inline constexpr const char* transport_error = "mts error\n";

constexpr ServiceStatus code(protocol::Status status) {
    return static_cast<ServiceStatus>(status);
}

constexpr bool means_no_pending_copy(ServiceStatus status) {
    return status == code(protocol::Status::no_distribution_session) ||
           status == code(protocol::Status::distribution_off);
}

// Says that the command has no "no" form.
std::uint32_t refuse_no_form();

// Says on standard error, or as a line of its text, why a request failed; the handler's result.
std::uint32_t report(ServiceStatus status);

// Says on standard error that a request of signatures or data privacy failed; one line for every reason,
// since scripts know no other.
std::uint32_t report_failed_exchange();

// Says that the service's answer ended before the record that is needed, and what follows from that.
std::uint32_t report_incomplete(std::uint32_t got, std::size_t needed, const char* consequence);

inline constexpr const char* nothing_changed = "nothing was changed";

}  // namespace callhome::library
