// HTTP and HTTPS through libcurl. The certificate of an HTTPS server is checked; redirections are not
// followed, since the operator has named who may read the message.
// Where a proxy is configured it is asked, whatever the environment says.
#pragma once

#include "delivery/attempt.h"

namespace callhome::service {

Outcome post_by_http(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop,
                     KeptConnection& kept);

}  // namespace callhome::service
