#include "fake_message_service.h"

#include <algorithm>

namespace callhome::service {

namespace {
FakeMessages* current = nullptr;
}

FakeMessages& fake_messages() {
    return *current;
}

class MessageService::Implementation {
 public:
    FakeMessages fake;
};

MessageService::MessageService(asio::io_context&, Database&, const Configuration&, const DeliverySettings&,
                               EventSettings)
    : implementation_(std::make_unique<Implementation>()) {
    current = &implementation_->fake;
}

MessageService::~MessageService() = default;

namespace {
void take_up(FakeMessages& fake, MessageService::Done done) {
    if (fake.storage_error) {
        throw SQLite::Exception(*fake.storage_error);
    }
    if (fake.answer) {
        done(fake.answer->first, fake.answer->second);
    } else {
        fake.unanswered.push_back(std::move(done));
    }
}
}  // namespace

void MessageService::send(const MessageRequest& request, Done done) {
    implementation_->fake.sent.push_back(request);
    take_up(implementation_->fake, std::move(done));
}

void MessageService::alert(const AlertRequest& request, Done done) {
    implementation_->fake.alerts.push_back(request);
    take_up(implementation_->fake, std::move(done));
}

void MessageService::report(const SignatureReport& report, Done done) {
    implementation_->fake.reports.push_back(report);
    take_up(implementation_->fake, std::move(done));
}

std::optional<protocol::MessageLogRecord> MessageService::message_after(std::uint32_t id) const {
    for (const auto& message : implementation_->fake.messages) {
        if (message.id > id) {
            return message;
        }
    }
    return std::nullopt;
}

std::optional<protocol::DeliveryLogRecord> MessageService::delivery_after(std::uint32_t id,
                                                                          std::uint32_t message_id,
                                                                          std::uint32_t state) const {
    for (const auto& delivery : implementation_->fake.deliveries) {
        if (delivery.id > id && (message_id == 0 || delivery.message_id == message_id) &&
            (state == 0 || delivery.state == state)) {
            return delivery;
        }
    }
    return std::nullopt;
}

std::optional<std::string> MessageService::message_text(std::uint32_t /*id*/) const {
    return implementation_->fake.text;
}

void MessageService::preview(const PreviewRequest& request, PreviewDone done) {
    implementation_->fake.previews.push_back(request);
    implementation_->fake.unanswered_previews.push_back(std::move(done));
}

protocol::ClearQueueRecord MessageService::clear_queue(const std::string& requested_by) {
    if (implementation_->fake.storage_error) {
        throw SQLite::Exception(*implementation_->fake.storage_error);
    }
    implementation_->fake.cleared_by.push_back(requested_by);
    return implementation_->fake.cleared;
}

std::pair<protocol::Status, protocol::ResendRecord> MessageService::resend(std::uint32_t id) {
    implementation_->fake.resent.push_back(id);
    return implementation_->fake.resend_answer;
}

protocol::QueueStateRecord MessageService::queue_state() const {
    return implementation_->fake.queue_state;
}

std::uint32_t MessageService::id_before_last(std::uint32_t count) const {
    const auto& all = implementation_->fake.messages;
    return count < all.size() ? +all[all.size() - count - 1].id : 0;
}

std::size_t MessageService::duplicates() const {
    return implementation_->fake.duplicates;
}
void MessageService::look_again() {}

bool MessageService::busy_soon() const {
    return implementation_->fake.busy;
}

}  // namespace callhome::service
