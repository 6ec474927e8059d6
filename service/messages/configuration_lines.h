#pragma once

#include <optional>
#include <string>
#include <vector>

#include "store/configuration.h"

namespace callhome::service {

// The call-home configuration as the commands that make it, one a line.
std::vector<std::string> configuration_lines(const Configuration& configuration);

// The same as clean lines, made anew only when the configuration is another one than the last time: with
// many receivers they are most of a message, and to compare costs next to nothing.
class ConfigurationLines {
 public:
    // Good until the next call.
    const std::vector<std::string>& of(const Configuration& configuration);

 private:
    std::optional<Configuration> made_of_;
    std::vector<std::string> lines_;
};

}  // namespace callhome::service
