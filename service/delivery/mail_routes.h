#pragma once

#include <vector>

#include "delivery/attempt.h"
#include "store/configuration.h"

namespace callhome::service {

// The mail servers by priority, the lowest number first and equal ones by host; then the single SMTP
// server of the mail settings, unless it is among them.
std::vector<MailRoute> mail_routes(const Configuration& configuration);

}  // namespace callhome::service
