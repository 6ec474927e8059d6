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
#include "messages/queue_actions.h"
#include "messages/reply_text.h"
#include "messages/text.h"
#include "messages/user_commands.h"

namespace callhome::service {
namespace {

constexpr std::size_t longest_reply = sizeof(protocol::SendMessageRecord::reply_text) - 1;

// What a message is made of.
struct MessageOrder {
    MessageType type;
    std::string parameter_1 = {};
    std::string parameter_2 = {};
    std::string requested_by = {};
    std::function<void()> when_recorded = {};
    std::unique_ptr<const SignatureReport> report = {};
    std::optional<EventIdentity> event = {};
    Repeats repeats = {};  // of the event, to be told with it
};

// A message until its receivers were tried for the first time.
struct OpenRequest {
    MessageOrder order;
    MessageService::Done done;
    std::chrono::steady_clock::time_point answer_due;
    asio::steady_timer answer_timer;
    std::vector<ReceiverName> named{};                 // in the order of their deliveries
    std::map<std::int64_t, ReceiverName> receivers{};  // by delivery
    std::map<std::int64_t, ReplyLine> lines{};         // of those that were tried
    std::set<std::string> failed_servers{};            // that another one has stood in for
};

constexpr std::uint64_t no_request = 0;

std::vector<Taker> takers_of(const Configuration& configuration, const MessageOrder& order) {
    return select_takers(configuration, order.type, order.report ? order.report->profile : "");
}

MessageSubject subject_of(const MessageOrder& order, const std::vector<CommandOutput>& outputs,
                          std::int64_t now) {
    return {.type = &order.type,
            .parameter_1 = order.parameter_1,
            .parameter_2 = order.parameter_2,
            .requested_by = order.requested_by,
            .signature = order.report.get(),
            .repeated = repeats_text(order.repeats, now),
            .outputs = outputs};
}

std::string without_carriage_returns(std::string text) {
    std::erase(text, '\r');
    return text;
}

}  // namespace

class MessageService::Implementation {
 public:
    Implementation(asio::io_context& io, Database& database, const Configuration& configuration,
                   const DeliverySettings& settings, EventSettings events)
        : io_(io),
          configuration_(configuration),
          settings_(settings),
          command_limits_(events.command_limits),
          most_open_(events.most_open),
          marker_(settings.marker),
          throttle_(std::move(events.throttle)),
          commands_(io, std::move(events.commands), events.commands_at_once),
          post_office_(io, database, configuration, settings,
                       [this](const AttemptReport& report) { take_report(report); }),
          previewer_(io, configuration, commands_, command_limits_, most_open_, settings_.now) {}

    void send(const MessageRequest& request, Done done);
    void alert(const AlertRequest& request, Done done);
    void report(const SignatureReport& report, Done done);
    void preview(const PreviewRequest& request, PreviewDone done) {
        previewer_.preview(request, std::move(done));
    }
    PostOffice& post_office() { return post_office_; }
    std::int64_t now() const { return settings_.now(); }
    std::size_t duplicates() const { return throttle_.counted(); }
    bool busy_soon() const { return !open_.empty() || post_office_.busy_soon(); }
    void look_again() { post_office_.look_again(); }

 private:
    void answer(Done done, protocol::Status status, std::string text);
    bool is_refused(const MessageOrder& order, const std::vector<Taker>& takers, Done& done);
    bool is_duplicate(const MessageOrder& order, Done& done);
    std::uint64_t open(MessageOrder order, Done done);
    void run_commands(std::uint64_t number, const std::vector<Taker>& takers);
    void compose_and_offer(std::uint64_t number, const std::vector<CommandOutput>& outputs);
    void offer(std::uint64_t number, std::vector<NewMessage> messages);
    void take_recorded(std::uint64_t number, const RecordedMessages& recorded);
    void take_report(const AttemptReport& report);
    void start_waiting(std::uint64_t number);
    void close_request(std::uint64_t number);
    void give_up(std::uint64_t number, protocol::Status status, std::string text);
    void end_processing(std::uint64_t number, protocol::Status status, std::string text);

    asio::io_context& io_;
    const Configuration& configuration_;
    const DeliverySettings settings_;
    const SeriesLimits command_limits_;
    const std::size_t most_open_;
    ProcessingMarker marker_;
    RecentInventory inventory_;
    ComposerMemory memory_;
    DuplicateThrottle throttle_;
    std::map<std::uint64_t, OpenRequest> open_;
    std::map<std::int64_t, std::uint64_t> asked_by_;  // the open request of a delivery
    std::uint64_t in_turn_ = no_request;              // of those that wait for one another
    std::uint64_t request_count_ = no_request;
    std::shared_ptr<Implementation*> self_ = std::make_shared<Implementation*>(this);
    CommandSeries commands_;  // these report to what stands above
    PostOffice post_office_;
    Previewer previewer_;
};

// Never from within the caller: it may hold things that the answer changes.
void MessageService::Implementation::answer(Done done, protocol::Status status, std::string text) {
    asio::post(io_, [done = std::move(done), status, text = std::move(text)]() mutable {
        done(status, std::move(text));
    });
}

// True, and `done` has its answer, for a message that would go to nobody.
bool MessageService::Implementation::is_refused(const MessageOrder& order, const std::vector<Taker>& takers,
                                                Done& done) {
    if (takers.empty()) {
        answer(std::move(done), protocol::Status::not_sent, why_nobody_takes(configuration_, order.type));
        return true;
    }
    return false;
}

void MessageService::Implementation::send(const MessageRequest& request, Done done) {
    const MessageType* type = find_message_type(request.type, Origin::command);
    if (type == nullptr) {
        answer(std::move(done), protocol::Status::malformed_request, "There is no such type of message");
        return;
    }
    if (in_turn_ != no_request) {
        answer(std::move(done), protocol::Status::message_in_progress, "");
        return;
    }
    MessageOrder order{.type = *type,
                       .parameter_1 = request.parameter_1,
                       .parameter_2 = request.parameter_2,
                       .requested_by = request.requested_by,
                       .when_recorded = request.when_recorded};
    const std::vector<Taker> takers = takers_of(configuration_, order);
    if (!is_refused(order, takers, done)) {
        in_turn_ = open(std::move(order), std::move(done));
        run_commands(in_turn_, takers);
    }
}

void MessageService::Implementation::alert(const AlertRequest& request, Done done) {
    const auto type = event_type(request.alert, request.severity);
    if (!type) {
        answer(std::move(done), protocol::Status::malformed_request,
               "There is no such alert, or no such severity");
        return;
    }
    MessageOrder order{.type = *type,
                       .parameter_1 = request.source,
                       .parameter_2 = request.text,
                       .requested_by = request.requested_by,
                       .event = EventIdentity{request.alert, request.source, request.text}};
    const std::vector<Taker> takers = takers_of(configuration_, order);
    if (is_refused(order, takers, done) || is_duplicate(order, done)) {
        return;
    }
    if (open_.size() >= most_open_) {
        answer(std::move(done), protocol::Status::limit_reached,
               "Too many events wait for their messages to be made; try again in a moment");
        return;
    }
    order.repeats = throttle_.let_go(*order.event);
    run_commands(open(std::move(order), std::move(done)), takers);
}

// True, and `done` has its answer, for an event that was counted only.
bool MessageService::Implementation::is_duplicate(const MessageOrder& order, Done& done) {
    if (!configuration_.duplicate_throttle) {
        return false;
    }
    const auto repeats = throttle_.count(*order.event);
    if (!repeats) {
        return false;
    }
    const std::string line =
        duplicate_line(order.type.wording, *repeats, throttle_.window(), settings_.now());
    if (repeats->count == 1) {
        spdlog::info("{}: {}", clean_line(order.event->source), line);
    }
    answer(std::move(done), protocol::Status::not_sent, line);
    return true;
}

void MessageService::Implementation::report(const SignatureReport& report, Done done) {
    MessageOrder order{.type = *find_message_type(signature_message, Origin::signature),
                       .report = std::make_unique<SignatureReport>(report)};
    order.type.alert_group = order.report->alert_group;
    const std::vector<Taker> takers = takers_of(configuration_, order);
    if (!is_refused(order, takers, done)) {
        run_commands(open(std::move(order), std::move(done)), takers);
    }
}

std::uint64_t MessageService::Implementation::open(MessageOrder order, Done done) {
    const auto answer_due = std::chrono::steady_clock::now() + settings_.answer_within;
    open_.emplace(++request_count_,
                  OpenRequest{std::move(order), std::move(done), answer_due, asio::steady_timer(io_)});
    return request_count_;
}

// The marker does not stand meanwhile: while it does, the commands would not show the running
// configuration.
void MessageService::Implementation::run_commands(std::uint64_t number, const std::vector<Taker>& takers) {
    commands_.run(
        user_commands_for(configuration_, open_.at(number).order.type.alert_group, takers), command_limits_,
        [this, number](const std::vector<CommandOutput>& outputs) { compose_and_offer(number, outputs); });
}

// Who takes the message is asked again: the configuration may have changed while the commands ran.
void MessageService::Implementation::compose_and_offer(std::uint64_t number,
                                                       const std::vector<CommandOutput>& outputs) {
    OpenRequest& request = open_.at(number);
    const std::vector<Taker> takers = takers_of(configuration_, request.order);
    if (takers.empty()) {
        give_up(number, protocol::Status::not_sent, why_nobody_takes(configuration_, request.order.type));
        return;
    }
    if (number == in_turn_) {
        marker_.raise();
    }
    try {
        // An operator who asks wants to see what is, not what was a moment ago.
        const SystemInventory& inventory = number == in_turn_ ? inventory_.read_anew() : inventory_.read();
        const std::int64_t now = settings_.now();
        const MessageSubject subject = subject_of(request.order, outputs, now);
        offer(number, compose_messages(subject, make_stamp(now, inventory), takers, configuration_,
                                       inventory, memory_));
    } catch (const std::exception& error) {
        spdlog::error("A {} message could not be made: {}", request.order.type.name, error.what());
        give_up(number, protocol::Status::storage_failed, "");
    }
}

void MessageService::Implementation::offer(std::uint64_t number, std::vector<NewMessage> messages) {
    OpenRequest& request = open_.at(number);
    for (const NewMessage& message : messages) {
        for (const std::string& receiver : message.receivers) {
            request.named.push_back({receiver, message.profile});
        }
    }
    post_office_.hand_in(std::move(messages), [this, number](const RecordedMessages& recorded) {
        take_recorded(number, recorded);
    });
}

void MessageService::Implementation::take_recorded(std::uint64_t number, const RecordedMessages& recorded) {
    OpenRequest& request = open_.at(number);
    if (!recorded.failure.empty()) {
        spdlog::error("A {} message could not be recorded: {}", request.order.type.name, recorded.failure);
        give_up(number, protocol::Status::storage_failed, "");
        return;
    }
    if (!recorded.why_no_room.empty()) {
        give_up(number, protocol::Status::limit_reached, recorded.why_no_room);
        return;
    }
    auto name = request.named.begin();
    for (const auto& deliveries : recorded.deliveries) {
        for (const std::int64_t delivery : deliveries) {
            request.receivers.emplace(delivery, std::move(*name++));
            asked_by_.emplace(delivery, number);
        }
    }
    if (request.order.when_recorded) {
        request.order.when_recorded();
    }
    start_waiting(number);
}

void MessageService::Implementation::start_waiting(std::uint64_t number) {
    asio::steady_timer& timer = open_.at(number).answer_timer;
    timer.expires_at(open_.at(number).answer_due);
    // A wait that has just ended can no longer be cancelled, hence the number.
    timer.async_wait([weak = std::weak_ptr(self_), number](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self != nullptr) {
            (*self)->close_request(number);
        }
    });
}

void MessageService::Implementation::take_report(const AttemptReport& report) {
    const auto asked_by = asked_by_.find(report.delivery_id);
    if (asked_by == asked_by_.end()) {
        return;
    }
    const std::uint64_t number = asked_by->second;
    OpenRequest& request = open_.at(number);
    for (const FailedServer& failed : report.outcome.failed_before) {
        request.failed_servers.insert(failed.failure);
    }
    // A receiver whose second try comes before the first of another one keeps its first line.
    request.lines.try_emplace(report.delivery_id,
                              ReplyLine{report.outcome.verdict == Verdict::delivered,
                                        report_line(request.order.type.wording,
                                                    request.receivers.at(report.delivery_id), report)});
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
                            : ReplyLine{false, unfinished_line(request.order.type.wording, receiver)});
        delivered = delivered || lines.back().delivered;
    }
    for (const std::string& failure : request.failed_servers) {
        lines.push_back({false, failed_server_line(failure)});
    }
    end_processing(number, delivered ? protocol::Status::ok : protocol::Status::not_sent,
                   join_reply(lines, longest_reply));
}

// There is no message: the next event of this kind is not a duplicate.
void MessageService::Implementation::give_up(std::uint64_t number, protocol::Status status,
                                             std::string text) {
    const MessageOrder& order = open_.at(number).order;
    if (order.event) {
        throttle_.take_back(*order.event, order.repeats);
    }
    end_processing(number, status, std::move(text));
}

void MessageService::Implementation::end_processing(std::uint64_t number, protocol::Status status,
                                                    std::string text) {
    OpenRequest& request = open_.at(number);
    Done done = std::move(request.done);
    for (const auto& [delivery, name] : request.receivers) {
        asked_by_.erase(delivery);
    }
    open_.erase(number);
    if (number == in_turn_) {
        in_turn_ = no_request;
        marker_.lower();
    }
    answer(std::move(done), status, std::move(text));
}

MessageService::MessageService(asio::io_context& io, Database& database, const Configuration& configuration,
                               const DeliverySettings& settings, EventSettings events)
    : implementation_(
          std::make_unique<Implementation>(io, database, configuration, settings, std::move(events))) {}

MessageService::~MessageService() = default;

void MessageService::send(const MessageRequest& request, Done done) {
    implementation_->send(request, std::move(done));
}

void MessageService::alert(const AlertRequest& request, Done done) {
    implementation_->alert(request, std::move(done));
}

void MessageService::report(const SignatureReport& report, Done done) {
    implementation_->report(report, std::move(done));
}

void MessageService::preview(const PreviewRequest& request, PreviewDone done) {
    implementation_->preview(request, std::move(done));
}

protocol::ClearQueueRecord MessageService::clear_queue(const std::string& requested_by) {
    return clear_queue_of(implementation_->post_office(), requested_by);
}

std::pair<protocol::Status, protocol::ResendRecord> MessageService::resend(std::uint32_t id) {
    return resend_from(implementation_->post_office(), id, implementation_->now());
}

protocol::QueueStateRecord MessageService::queue_state() const {
    return state_of(implementation_->post_office());
}

std::uint32_t MessageService::id_before_last(std::uint32_t count) const {
    return implementation_->post_office().queue().id_before_last(count);
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

std::size_t MessageService::duplicates() const {
    return implementation_->duplicates();
}

void MessageService::look_again() {
    implementation_->look_again();
}

bool MessageService::busy_soon() const {
    return implementation_->busy_soon();
}

}  // namespace callhome::service
