// Stands in for the real MessageService at link time: keeps what it was asked, answers what the test
// has laid down.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "messages/message_service.h"

namespace callhome::service {

struct FakeMessages {
    // What was asked.
    std::vector<MessageRequest> sent;
    std::vector<AlertRequest> alerts;
    std::vector<SignatureReport> reports;
    std::vector<MessageService::Done> unanswered;
    std::vector<PreviewRequest> previews;
    std::vector<PreviewDone> unanswered_previews;
    std::vector<std::string> cleared_by;
    std::vector<std::uint32_t> resent;

    // What is answered. Without an answer the request stays in `unanswered`.
    std::optional<std::pair<protocol::Status, std::string>> answer;
    std::vector<protocol::MessageLogRecord> messages;
    std::vector<protocol::DeliveryLogRecord> deliveries;
    std::optional<std::string> text;
    std::size_t duplicates = 0;
    protocol::QueueStateRecord queue_state{};
    protocol::ClearQueueRecord cleared{};
    std::pair<protocol::Status, protocol::ResendRecord> resend_answer{};
    bool busy = false;
    std::optional<std::string> storage_error;  // thrown by send
};

// Of the MessageService that was made last.
FakeMessages& fake_messages();

}  // namespace callhome::service
