#include "messages/message_service.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <map>
#include <set>
#include <vector>

#include "delivery/post_office.h"
#include "messages/message_composer.h"
#include "messages/processing_marker.h"
#include "messages/reply_text.h"

namespace callhome::service {
namespace {

constexpr std::size_t longest_reply = sizeof(protocol::SendMessageRecord::reply_text) - 1;

// A request whose receivers are being tried for the first time.
struct OpenRequest {
    std::string wording;
    MessageService::Done done;
    asio::steady_timer answer_timer;
    std::map<std::int64_t, ReceiverName> receivers;  // by delivery
    std::map<std::int64_t, ReplyLine> lines;         // of those that were tried
    std::set<std::string> failed_servers{};          // that another one has stood in for
};

constexpr std::uint64_t no_request = 0;

std::string without_carriage_returns(std::string text) {
    std::erase(text, '\r');
    return text;
}

}  // namespace

class MessageService::Implementation {
 public:
    Implementation(asio::io_context& io, Database& database, const Configuration& configuration,
                   const DeliverySettings& settings)
        : io_(io),
          database_(database),
          configuration_(configuration),
          settings_(settings),
          marker_(settings.marker),
          post_office_(io, database, configuration, settings,
                       [this](const AttemptReport& report) { take_report(report); }) {}

    void process(const MessageSubject& subject, Done done);
    void report(const SignatureReport& report, Done done);
    const PostOffice& post_office() const { return post_office_; }
    void look_again() { post_office_.look_again(); }

 private:
    void answer(Done done, protocol::Status status, std::string text);
    std::uint64_t open(const MessageType& type, Done done);
    void compose_and_offer(std::uint64_t number, const MessageSubject& subject,
                           const std::vector<Taker>& takers);
    std::string offer(OpenRequest& request, const std::vector<NewMessage>& messages);
    void take_report(const AttemptReport& report);
    void start_waiting(std::uint64_t number);
    void close_request(std::uint64_t number);
    void end_processing(std::uint64_t number, protocol::Status status, std::string text);

    asio::io_context& io_;
    Database& database_;
    const Configuration& configuration_;
    const DeliverySettings settings_;
    ProcessingMarker marker_;
    std::map<std::uint64_t, OpenRequest> open_;
    std::uint64_t in_turn_ = no_request;  // of those that wait for one another
    std::uint64_t request_count_ = no_request;
    std::shared_ptr<Implementation*> self_ = std::make_shared<Implementation*>(this);
    PostOffice post_office_;  // last: it reports to what stands above
};

// Never from within the caller: it may hold things that the answer changes.
void MessageService::Implementation::answer(Done done, protocol::Status status, std::string text) {
    asio::post(io_, [done = std::move(done), status, text = std::move(text)]() mutable {
        done(status, std::move(text));
    });
}

void MessageService::Implementation::process(const MessageSubject& subject, Done done) {
    if (subject.type == nullptr) {
        answer(std::move(done), protocol::Status::malformed_request, "There is no such type of message");
        return;
    }
    if (in_turn_ != no_request) {
        answer(std::move(done), protocol::Status::message_in_progress, "");
        return;
    }
    const std::vector<Taker> takers = select_takers(configuration_, *subject.type);
    if (takers.empty()) {
        answer(std::move(done), protocol::Status::not_sent,
               why_nobody_takes(configuration_, *subject.type));
        return;
    }
    in_turn_ = open(*subject.type, std::move(done));
    marker_.raise();
    compose_and_offer(in_turn_, subject, takers);
}

void MessageService::Implementation::report(const SignatureReport& report, Done done) {
    MessageType type = *find_message_type(signature_message, Origin::signature);
    type.alert_group = report.alert_group;
    const std::vector<Taker> takers = select_takers(configuration_, type, report.profile);
    if (takers.empty()) {
        answer(std::move(done), protocol::Status::not_sent, why_nobody_takes(configuration_, type));
        return;
    }
    compose_and_offer(open(type, std::move(done)), {&type, {}, {}, {}, &report}, takers);
}

std::uint64_t MessageService::Implementation::open(const MessageType& type, Done done) {
    open_.emplace(++request_count_,
                  OpenRequest{std::string(type.wording), std::move(done), asio::steady_timer(io_), {}, {}});
    return request_count_;
}

void MessageService::Implementation::compose_and_offer(std::uint64_t number, const MessageSubject& subject,
                                                       const std::vector<Taker>& takers) {
    try {
        const SystemInventory inventory = read_system_inventory();
        const MessageStamp stamp = make_stamp(settings_.now(), inventory);
        const std::string why_not =
            offer(open_.at(number), compose_messages(subject, stamp, takers, configuration_, inventory));
        if (!why_not.empty()) {
            end_processing(number, protocol::Status::limit_reached, why_not);
            return;
        }
    } catch (const SQLite::Exception& error) {
        database_.health().failed(error);
        spdlog::error("A {} message could not be recorded: {}", subject.type->name, error.what());
        end_processing(number, protocol::Status::storage_failed, "");
        return;
    } catch (const std::exception& error) {
        spdlog::error("A {} message could not be recorded: {}", subject.type->name, error.what());
        end_processing(number, protocol::Status::storage_failed, "");
        return;
    }
    start_waiting(number);
}

// Gives the reason when the queue does not take them.
std::string MessageService::Implementation::offer(OpenRequest& request,
                                                  const std::vector<NewMessage>& messages) {
    const RecordedMessages recorded = post_office_.accept(messages);
    if (!recorded.why_no_room.empty()) {
        return recorded.why_no_room;
    }
    for (std::size_t i = 0; i < messages.size(); ++i) {
        for (std::size_t k = 0; k < messages[i].receivers.size(); ++k) {
            request.receivers[recorded.deliveries[i][k]] = {messages[i].receivers[k], messages[i].profile};
        }
    }
    return "";
}

void MessageService::Implementation::start_waiting(std::uint64_t number) {
    asio::steady_timer& timer = open_.at(number).answer_timer;
    timer.expires_after(settings_.answer_within);
    // A wait that has just ended can no longer be cancelled, hence the number.
    timer.async_wait([weak = std::weak_ptr(self_), number](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self != nullptr) {
            (*self)->close_request(number);
        }
    });
}

void MessageService::Implementation::take_report(const AttemptReport& report) {
    const auto entry = std::ranges::find_if(
        open_, [&](const auto& open) { return open.second.receivers.contains(report.delivery_id); });
    if (entry == open_.end()) {
        return;
    }
    auto& [number, request] = *entry;
    for (const FailedServer& failed : report.outcome.failed_before) {
        request.failed_servers.insert(failed.failure);
    }
    // A receiver whose second try comes before the first of another one keeps its first line.
    request.lines.try_emplace(
        report.delivery_id,
        ReplyLine{report.outcome.verdict == Verdict::delivered,
                  report_line(request.wording, request.receivers.at(report.delivery_id), report)});
    if (request.lines.size() == request.receivers.size()) {
        close_request(number);
    }
}

void MessageService::Implementation::close_request(std::uint64_t number) {
    const auto entry = open_.find(number);
    if (entry == open_.end()) {
        return;
    }
    const OpenRequest& request = entry->second;
    std::vector<ReplyLine> lines;
    bool delivered = false;
    for (const auto& [id, receiver] : request.receivers) {
        const auto line = request.lines.find(id);
        lines.push_back(line != request.lines.end()
                            ? line->second
                            : ReplyLine{false, unfinished_line(request.wording, receiver)});
        delivered = delivered || lines.back().delivered;
    }
    for (const std::string& failure : request.failed_servers) {
        lines.push_back({false, failed_server_line(failure)});
    }
    end_processing(number, delivered ? protocol::Status::ok : protocol::Status::not_sent,
                   join_reply(lines, longest_reply));
}

void MessageService::Implementation::end_processing(std::uint64_t number, protocol::Status status,
                                                    std::string text) {
    Done done = std::move(open_.at(number).done);
    open_.erase(number);
    if (number == in_turn_) {
        in_turn_ = no_request;
        marker_.lower();
    }
    answer(std::move(done), status, std::move(text));
}

MessageService::MessageService(asio::io_context& io, Database& database, const Configuration& configuration,
                               const DeliverySettings& settings)
    : implementation_(std::make_unique<Implementation>(io, database, configuration, settings)) {}

MessageService::~MessageService() = default;

void MessageService::send(const MessageRequest& request, Done done) {
    implementation_->process({find_message_type(request.type, Origin::command), request.parameter_1,
                              request.parameter_2, request.requested_by},
                             std::move(done));
}

void MessageService::alert(const AlertRequest& request, Done done) {
    implementation_->process({find_message_type(request.alert, Origin::alert), request.source, request.text,
                              request.requested_by},
                             std::move(done));
}

void MessageService::report(const SignatureReport& report, Done done) {
    implementation_->report(report, std::move(done));
}

std::optional<protocol::MessageLogRecord> MessageService::message_after(std::uint32_t id) const {
    return implementation_->post_office().queue().message_after(id);
}

std::optional<protocol::DeliveryLogRecord> MessageService::delivery_after(std::uint32_t id,
                                                                          std::uint32_t message_id,
                                                                          std::uint32_t state) const {
    return implementation_->post_office().queue().delivery_after(id, message_id, state);
}

std::optional<std::string> MessageService::message_text(std::uint32_t id) const {
    auto message = implementation_->post_office().queue().message_to_send(id);
    return message ? std::optional(without_carriage_returns(std::move(message->content))) : std::nullopt;
}

void MessageService::look_again() {
    implementation_->look_again();
}

bool MessageService::busy_soon() const {
    return implementation_->post_office().busy_soon();
}

}  // namespace callhome::service
