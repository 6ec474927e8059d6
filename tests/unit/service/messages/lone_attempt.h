// Attempts after which no connection is kept.
#pragma once

#include "delivery/smtp_client.h"

namespace callhome::service::tests {

inline Outcome attempt_alone(const DeliveryJob& job, const TransferLimits& limits) {
    KeptConnection kept;
    return attempt(job, limits, {}, kept);
}

inline Outcome send_alone(const DeliveryJob& job, const MailRoute& route, const TransferLimits& limits,
                          const std::stop_token& stop = {}) {
    KeptConnection kept;
    return send_by_smtp(job, route, limits, stop, kept);
}

}  // namespace callhome::service::tests
