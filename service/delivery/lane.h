#pragma once

#include <string>

#include "delivery/route.h"

namespace callhome::service {

// Whom a delivery may have to wait for: the host of its URL; all mail goes through the same servers.
std::string lane_of(Carrier carrier, const std::string& receiver);

}  // namespace callhome::service
