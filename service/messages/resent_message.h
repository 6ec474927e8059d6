// A message once more, for those who have it already.
#pragma once

#include <optional>

#include "delivery/queue.h"

namespace callhome::service {

// The same text to the same receivers, with an identity of its own: whoever drops what came before takes it
// for another message. Its subject says that it is sent again. Nothing when the mail cannot be read.
std::optional<NewMessage> resent(const NewMessage& message, long long now);

}  // namespace callhome::service
