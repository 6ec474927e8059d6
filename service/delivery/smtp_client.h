// SMTP through libcurl. What a server offers by way of encryption is used, its certificate has to be good
// for its name, and nothing makes a conversation go on in the clear that began otherwise or did so before.
#pragma once

#include "delivery/attempt.h"

namespace callhome::service {

Outcome send_by_smtp(const DeliveryJob& job, const MailRoute& route, const TransferLimits& limits,
                     const std::stop_token& stop);

}  // namespace callhome::service
