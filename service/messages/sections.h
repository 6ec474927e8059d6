#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "messages/configuration_lines.h"
#include "messages/content.h"

namespace callhome::service {

// The sections of the mask of SectionKind, in their order.
std::vector<ContentSection> compose_sections(unsigned kinds, const Configuration& configuration,
                                             const SystemInventory& inventory, ConfigurationLines& lines);

// One for each command, under its name.
std::vector<ContentSection> command_sections(const std::vector<CommandOutput>& outputs);

// Seconds as "3 days 04:05:06".
std::string duration_text(std::uint64_t seconds);

}  // namespace callhome::service
