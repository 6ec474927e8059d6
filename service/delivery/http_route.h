#pragma once

#include "delivery/route.h"
#include "store/configuration.h"

namespace callhome::service {

// The proxy where one is configured and enabled, and the VRF.
HttpRoute http_route(const Configuration& configuration);

}  // namespace callhome::service
