// Lines of what the service tells of itself.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace callhome::service {

std::string line_of(std::string_view name, std::string_view value);
std::string line_of(std::string_view name, std::uint64_t value);

// The memory of this process, as the system accounts for it.
std::string process_memory_text();

}  // namespace callhome::service
