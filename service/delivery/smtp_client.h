// SMTP through libcurl. STARTTLS is opportunistic, as between mail servers (RFC 7435): used where the
// server offers it, without a look at its certificate, since a switch that cannot report a fault for
// want of a certificate is worse than a report that someone might read.
#pragma once

#include "delivery/attempt.h"

namespace callhome::service {

Outcome send_by_smtp(const DeliveryJob& job, const MailRoute& route, const TransferLimits& limits,
                     const std::stop_token& stop);

}  // namespace callhome::service
