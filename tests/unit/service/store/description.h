// A configuration as text, so that two can be held against each other and a difference can be read.
#pragma once

#include <string>

#include "store/configuration.h"

namespace callhome::service {

std::string description_of(const SharedConfiguration& configuration);
std::string description_of(const Configuration& configuration);

}  // namespace callhome::service
