// What the generators of running-configuration text share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "callhome/data.h"
#include "frame/outcome.h"
#include "protocol/opcode.h"

namespace callhome::library {

// The operations that read the copy of the configuration that print_running_config selects.
inline protocol::Operation get_operation() {
    return print_running_config != 0 ? protocol::Operation::get : protocol::Operation::get_pending;
}

inline protocol::Operation get_next_operation() {
    return print_running_config != 0 ? protocol::Operation::get_next
                                     : protocol::Operation::get_next_pending;
}

// Also a copy that does not exist has no further entry.
constexpr bool ends_walk(ServiceStatus status) {
    return status == code(protocol::Status::no_further_entry) ||
           status == code(protocol::Status::distribution_off);
}

// Says why a request of a generator failed; the generator's result.
inline std::int32_t generator_failure(ServiceStatus status) {
    return static_cast<std::int32_t>(report(status));
}

// The same for an answer that ended before the record that is needed.
inline std::int32_t incomplete_for_generator(std::uint32_t got, std::size_t needed) {
    return static_cast<std::int32_t>(report_incomplete(got, needed, "the running configuration ends here"));
}

// The same for a walk through a list that goes in circles.
inline std::int32_t endless_for_generator(const char* list) {
    std::fprintf(stderr, "The list of %s has no end; the running configuration ends here\n", list);
    return static_cast<std::int32_t>(failed);
}

}  // namespace callhome::library
