// What a database holds of the settings that have a running-configuration line.
#pragma once

#include <filesystem>
#include <string>

namespace callhome::test {

// A row a line, the same for configurations that mean the same.
std::string kept_configuration(const std::filesystem::path& database);

}  // namespace callhome::test
