// What an operator does about messages that are recorded, and what is told of them as a whole.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "delivery/post_office.h"
#include "protocol/records/delivery.h"
#include "protocol/status.h"

namespace callhome::service {

// As MessageService's functions of these names.
protocol::ClearQueueRecord clear_queue_of(PostOffice& post_office, const std::string& requested_by);
std::pair<protocol::Status, protocol::ResendRecord> resend_from(PostOffice& post_office, std::uint32_t id,
                                                                std::int64_t now);
protocol::QueueStateRecord state_of(const PostOffice& post_office);

}  // namespace callhome::service
