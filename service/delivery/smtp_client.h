// SMTP through libcurl. What a server offers by way of encryption is used, its certificate has to be good
// for its name, and nothing makes a conversation go on in the clear that began otherwise or did so before.
#pragma once

#include "delivery/attempt.h"
#include "delivery/transfer_connection.h"

namespace callhome::service {

// Goes on with the kept connection where it leads to this server under the same settings. That it has ended
// meanwhile is no try: the mail goes over another one at once, unless it may have got through whole.
Outcome send_by_smtp(const DeliveryJob& job, const MailRoute& route, const TransferLimits& limits,
                     const std::stop_token& stop, KeptConnection& kept);

// As Way::place has it.
std::string place_of(const MailRoute& route);

}  // namespace callhome::service
