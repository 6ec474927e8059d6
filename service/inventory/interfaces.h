#pragma once

#include <vector>

#include "inventory/system_inventory.h"

namespace callhome::service {

// By name; empty when the kernel does not tell.
std::vector<NetworkInterface> read_interfaces();

}  // namespace callhome::service
