// What a configuration must have before a message can reach anyone.
#pragma once

#include "protocol/status.h"
#include "store/configuration.h"

namespace callhome::service {

// no_destination, no_mail_server, or ok.
protocol::Status why_nothing_can_be_sent(const SharedConfiguration& configuration);

}  // namespace callhome::service
