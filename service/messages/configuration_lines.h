#pragma once

#include <string>
#include <vector>

#include "store/configuration.h"

namespace callhome::service {

// The call-home configuration as the commands that make it, one a line.
std::vector<std::string> configuration_lines(const Configuration& configuration);

}  // namespace callhome::service
