#include "delivery/post_office.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <asio/post.hpp>
#include <utility>

#include "delivery/http_route.h"
#include "delivery/mail_routes.h"
#include "delivery/retry_schedule.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::int64_t soon = 60;  // seconds
constexpr std::size_t host_name_size = 256;

std::string own_host_name() {
    std::array<char, host_name_size> name{};
    ::gethostname(name.data(), name.size() - 1);
    return mail_host_name(name.data());
}

const char* content_type_of(protocol::MessageFormat format) {
    return format == protocol::MessageFormat::xml ? "application/xml; charset=utf-8"
                                                  : "text/plain; charset=utf-8";
}

// What tells this delivery from all others, with each try: a message that an older version has recorded has
// no key, but its place in the queue and its time.
std::string key_of(const WaitingDelivery& delivery, const MessageToSend& message) {
    return message.key.empty()
               ? fmt::format("{}.{}.{}", delivery.id, delivery.message_id, message.recorded_ms)
               : fmt::format("{}.{}", delivery.id, message.key);
}

// One line for the log of deliveries.
std::string result_text(const Outcome& outcome) {
    if (outcome.verdict == Verdict::delivered) {
        return outcome.through.empty() ? "delivered" : "delivered through " + outcome.through;
    }
    return failure_of(outcome);
}

}  // namespace

PostOffice::PostOffice(asio::io_context& io, Database& database, const Configuration& configuration,
                       const DeliverySettings& settings, Observer observer)
    : io_(io),
      database_(database),
      configuration_(configuration),
      settings_(settings),
      observer_(std::move(observer)),
      queue_(database),
      timer_(io),
      next_recording_(io),
      recorded_at_(std::chrono::steady_clock::now() - settings_.between_recordings),
      own_name_(own_host_name()),
      encrypting_servers_(queue_.encrypting_servers()),
      self_(std::make_shared<PostOffice*>(this)) {
    courier_ = std::make_unique<Courier>(
        settings_.workers, settings_.transfer,
        [&io_context = io_, weak = std::weak_ptr(self_)](std::int64_t delivery_id, Outcome outcome) {
            asio::post(io_context, [weak, delivery_id, result = std::move(outcome)]() mutable {
                if (const auto self = weak.lock()) {
                    (*self)->finished(delivery_id, std::move(result));
                }
            });
        });
    asio::post(io_, [weak = std::weak_ptr(self_)] {
        if (const auto self = weak.lock()) {
            (*self)->look_after_queue();
        }
    });
}

// What has been delivered is not to be delivered again by the next run.
PostOffice::~PostOffice() {
    self_.reset();
    courier_.reset();
    try {
        queue_.update(unrecorded_updates());
    } catch (const std::exception& error) {
        spdlog::error("What came of {} deliveries cannot be recorded: {}", unrecorded_.size(),
                      error.what());
    }
}

RecordedMessages PostOffice::accept(std::span<const NewMessage> messages) {
    RecordedMessages recorded =
        queue_.record(messages, {settings_.now(), settings_.now_milliseconds()},
                      settings_.finished_messages_kept, settings_.queue, messages_under_way());
    take_room(recorded);
    look_soon();
    return recorded;
}

void PostOffice::hand_in(RequestedMessages messages, Told told) {
    handed_in_.push_back(std::move(messages));
    to_be_told_.push_back(std::move(told));
    look_soon();
}

// What the queue had room for, and what had to go for it.
void PostOffice::take_room(const RecordedMessages& recorded) {
    if (recorded.is_disk_full) {
        database_.health().failed(Trouble::disk_room, recorded.why_no_room);
    } else if (recorded.why_no_room.empty()) {
        database_.health().works(Trouble::disk_room);
    }
    if (!recorded.dropped.empty()) {
        spdlog::warn("{} deliveries were dropped: the queue was full", recorded.dropped.size());
    }
    for (const std::int64_t id : recorded.dropped) {
        observer_({id, {Verdict::refused, "", dropped_result}, protocol::DeliveryState::failed, {}});
    }
}

PostOffice::Cleared PostOffice::give_up_all(const std::string& why) {
    const std::vector<std::int64_t> given_up = queue_.give_up_all(under_way_ids(), settings_.now(), why);
    for (const std::int64_t id : given_up) {
        observer_({id, {Verdict::refused, "", why}, protocol::DeliveryState::failed, {}});
    }
    look_soon();
    return {given_up.size(), under_way_.size()};
}

PostOffice::Due PostOffice::make_due(std::int64_t message_id) {
    const auto tried_now = std::ranges::count_if(
        under_way_, [&](const auto& entry) { return entry.second.message_id == message_id; });
    const std::size_t receivers = queue_.make_due(message_id, under_way_ids(), settings_.now());
    look_soon();
    return {receivers, static_cast<std::size_t>(tried_now)};
}

bool PostOffice::busy_soon() const {
    const auto next = queue_.earliest();
    return !under_way_.empty() || (next && *next <= settings_.now() + soon);
}

std::set<std::int64_t> PostOffice::under_way_ids() const {
    std::set<std::int64_t> ids;
    for (const auto& [id, delivery] : under_way_) {
        ids.insert(id);
    }
    return ids;
}

std::set<std::int64_t> PostOffice::messages_under_way() const {
    std::set<std::int64_t> ids;
    for (const auto& [id, delivery] : under_way_) {
        ids.insert(delivery.message_id);
    }
    return ids;
}

// The hosts that have as many couriers as one host may have: one that is slow does not get them all.
std::set<std::string> PostOffice::full_lanes() const {
    std::map<std::string, std::size_t> couriers;
    std::set<std::string> full;
    for (const auto& [id, delivery] : under_way_) {
        if (!delivery.is_over && ++couriers[delivery.lane] >= settings_.workers_per_host) {
            full.insert(delivery.lane);
        }
    }
    return full;
}

std::size_t PostOffice::busy_couriers() const {
    return under_way_.size() - unrecorded_.size();
}

// The database may fail at any time (a full disk); it is asked again after a while.
void PostOffice::take_failure(const std::exception& error) {
    if (const auto* failure = dynamic_cast<const SQLite::Exception*>(&error)) {
        database_.health().failed(*failure);
    } else {
        spdlog::error("The message queue cannot be looked after: {}", error.what());
    }
    wait(settings_.clock_check);
}

void PostOffice::look_after_queue() {
    try {
        record_what_came();
        if (database_.health().has(Trouble::disk_room) && queue_.has_disk_room(settings_.queue)) {
            database_.health().works(Trouble::disk_room);
        }
        queue_.bring_forward(settings_.now(), settings_.retry.longest_pause.count());
        offer_due();
        wait_for_next();
    } catch (const std::exception& error) {
        take_failure(error);
    }
    hold_io_context();
}

// What comes together is recorded together: each time costs a write to the disk. The io_context looks at
// all clients that have sent something before it comes here.
void PostOffice::look_soon() {
    hold_io_context();
    if (looks_soon_) {
        return;
    }
    looks_soon_ = true;
    next_recording_.expires_at(recorded_at_ + settings_.between_recordings);
    next_recording_.async_wait([weak = std::weak_ptr(self_)](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self != nullptr) {
            (*self)->looks_soon_ = false;
            (*self)->look_after_queue();
        }
    });
}

void PostOffice::offer_due() {
    while (busy_couriers() < settings_.workers && offer_next()) {
    }
}

// A courier need not wait until its last result is on the disk. When the disk fails, few are delivered of
// which nobody will know.
void PostOffice::keep_couriers_busy() {
    if (unrecorded_.size() > settings_.workers || database_.health().is_degraded()) {
        return;
    }
    try {
        offer_due();
    } catch (const std::exception& error) {
        take_failure(error);
    }
}

bool PostOffice::offer_next() {
    const auto delivery = queue_.next_due(settings_.now(), under_way_ids(), full_lanes());
    if (!delivery) {
        return false;
    }
    auto message = queue_.message_to_send(delivery->message_id);
    if (!message) {
        return false;
    }
    DeliveryJob job = job_for(*delivery, *message);
    under_way_[delivery->id] = {delivery->message_id, delivery->attempts, delivery->lane,
                                delivery->receiver,   message->profile,   message->recorded_ms};
    courier_->submit(std::move(job));
    return true;
}

// A server that is down comes after the others for a while: to find out anew with each mail would cost each
// the time of a connection that does not come about.
std::vector<MailRoute> PostOffice::routes() const {
    std::vector<MailRoute> routes = mail_routes(configuration_);
    for (MailRoute& route : routes) {
        route.is_known_to_encrypt = encrypting_servers_.contains(name_of(route));
    }
    const auto now = std::chrono::steady_clock::now();
    std::stable_partition(routes.begin(), routes.end(), [&](const MailRoute& route) {
        const auto down = servers_down_.find(name_of(route));
        return down == servers_down_.end() || down->second <= now;
    });
    return routes;
}

void PostOffice::remember_servers_down(const Outcome& outcome) {
    servers_down_.erase(outcome.through);
    for (const FailedServer& failed : outcome.failed_before) {
        if (failed.is_down) {
            servers_down_[failed.server] = std::chrono::steady_clock::now() + settings_.server_rest;
        }
    }
}

DeliveryJob PostOffice::job_for(const WaitingDelivery& delivery, MessageToSend& message) {
    DeliveryJob job;
    job.delivery_id = delivery.id;
    job.carrier = message.carrier;
    job.receiver = delivery.receiver;
    job.sender = message.sender;
    job.own_name = own_name_;
    job.routes = routes();
    job.http = http_route(configuration_);
    job.content_type = content_type_of(message.format);
    job.key = key_of(delivery, message);
    job.content = shared_content(delivery.message_id, std::move(message.content));
    return job;
}

std::shared_ptr<const std::string> PostOffice::shared_content(std::int64_t message_id,
                                                              std::string content) {
    std::erase_if(contents_, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<const std::string>& known = contents_[message_id];
    std::shared_ptr<const std::string> shared = known.lock();
    if (shared == nullptr) {
        shared = std::make_shared<const std::string>(std::move(content));
        known = shared;
    }
    return shared;
}

// What is due already waits for a courier; each that comes back looks at the queue again.
void PostOffice::wait_for_next() {
    const std::int64_t now = settings_.now();
    const auto next = queue_.earliest_after(now);
    if (next) {
        const std::chrono::seconds until_due(*next - now);
        wait(std::min(settings_.clock_check, std::chrono::milliseconds(until_due)));
    } else if (!under_way_.empty() || database_.health().has(Trouble::disk_room)) {
        wait(settings_.clock_check);
    } else {
        timer_.cancel();
    }
}

void PostOffice::wait(std::chrono::milliseconds time) {
    timer_.expires_after(time);
    timer_.async_wait([weak = std::weak_ptr(self_)](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self != nullptr) {
            (*self)->look_after_queue();
        }
    });
}

void PostOffice::hold_io_context() {
    if (under_way_.empty()) {
        work_.reset();
    } else if (!work_) {
        work_.emplace(io_.get_executor());
    }
}

// From the moment when the message was recorded. Clocks jump: it is at least as long as the try, and a time
// in which the receiver would have been given up is none.
std::int64_t PostOffice::latency_of(const UnderWay& delivery, const Outcome& outcome) const {
    const std::int64_t took = outcome.took.count();
    const std::int64_t since = settings_.now_milliseconds() - delivery.recorded_ms;
    const std::chrono::milliseconds longest = settings_.retry.give_up_after + settings_.retry.longest_pause;
    return since > longest.count() ? took : std::max(since, took);
}

PostOffice::Result PostOffice::result_of(std::int64_t delivery_id, Outcome outcome) const {
    const UnderWay& delivery = under_way_.at(delivery_id);
    const unsigned attempts = delivery.attempts + 1;
    const std::int64_t now = settings_.now();
    Result result{{delivery_id, protocol::DeliveryState::failed, attempts, 0, now, result_text(outcome)},
                  {delivery_id, std::move(outcome), protocol::DeliveryState::failed, {}}};
    const Outcome& came = result.report.outcome;
    if (came.verdict == Verdict::delivered) {
        result.update.state = protocol::DeliveryState::delivered;
        result.update.latency_ms = latency_of(delivery, came);
        for (const FailedServer& failed : came.failed_before) {
            result.update.error += (result.update.error.empty() ? "" : "; ") + failed.failure;
        }
    } else {
        result.update.error = result.update.last_result;
    }
    if (came.verdict == Verdict::postponed) {
        if (const auto pause = pause_after(attempts, settings_.retry)) {
            result.update.state = protocol::DeliveryState::waiting;
            result.update.next_attempt_at = now + pause->count();
            result.report.pause = *pause;
        }
    }
    result.report.state = result.update.state;
    return result;
}

void PostOffice::finished(std::int64_t delivery_id, Outcome outcome) {
    unrecorded_.push_back(result_of(delivery_id, std::move(outcome)));
    under_way_.at(delivery_id).is_over = true;
    look_soon();
    keep_couriers_busy();
}

// A result that cannot be recorded is kept, and its delivery counts as under way: sending the mail again
// each minute because the disk is full would help nobody. Who handed something in is told so.
void PostOffice::record_what_came() {
    if (unrecorded_.empty() && handed_in_.empty()) {
        return;
    }
    const std::vector<RequestedMessages> messages = std::exchange(handed_in_, {});
    const std::vector<Told> all_told = std::exchange(to_be_told_, {});
    std::vector<RecordedMessages> recorded;
    try {
        recorded = record(messages);
    } catch (const std::exception& error) {
        RecordedMessages nothing;
        nothing.failure = error.what();
        recorded.assign(messages.size(), nothing);
        tell(all_told, recorded);
        throw;
    }
    recorded_at_ = std::chrono::steady_clock::now();
    tell(all_told, recorded);
    for (const Result& result : std::exchange(unrecorded_, {})) {
        take_recorded(result);
    }
}

std::vector<DeliveryUpdate> PostOffice::unrecorded_updates() const {
    std::vector<DeliveryUpdate> updates;
    for (const Result& result : unrecorded_) {
        updates.push_back(result.update);
    }
    return updates;
}

std::vector<RecordedMessages> PostOffice::record(std::span<const RequestedMessages> messages) {
    const std::set<std::int64_t> kept = messages_under_way();
    return queue_.record_together(unrecorded_updates(), messages,
                                  {.time = {settings_.now(), settings_.now_milliseconds()},
                                   .finished_kept = settings_.finished_messages_kept,
                                   .limits = settings_.queue,
                                   .under_way = kept});
}

// One after the other: what one was told may have had to go for the next.
void PostOffice::tell(const std::vector<Told>& all_told, const std::vector<RecordedMessages>& recorded) {
    for (std::size_t i = 0; i < all_told.size(); ++i) {
        if (recorded[i].failure.empty()) {
            take_room(recorded[i]);
        }
        all_told[i](recorded[i]);
    }
}

void PostOffice::take_recorded(const Result& result) {
    const auto delivery = under_way_.extract(result.update.id);
    log(result, delivery.mapped());
    remember_encryption(result.report.outcome);
    remember_servers_down(result.report.outcome);
    observer_(result.report);
}

// From now on, mail goes to this server in no other way. Where that cannot be stored, it holds as long as
// the service runs.
void PostOffice::remember_encryption(const Outcome& outcome) {
    if (!outcome.is_encrypted || !encrypting_servers_.insert(outcome.through).second) {
        return;
    }
    try {
        queue_.add_encrypting_server(outcome.through);
    } catch (const SQLite::Exception& error) {
        database_.health().failed(error);
    }
}

const char* PostOffice::ending_of(const Result& result) {
    if (result.update.state != protocol::DeliveryState::failed) {
        return "";
    }
    return result.report.outcome.verdict == Verdict::postponed
               ? "; it was tried for too long and is given up"
               : "; it will not be tried again";
}

void PostOffice::log(const Result& result, const UnderWay& delivery) {
    for (const FailedServer& failed : result.report.outcome.failed_before) {
        spdlog::warn("A mail server failed, and another one took the mail: {}", failed.failure);
    }
    const bool is_lost = result.update.state == protocol::DeliveryState::failed;
    spdlog::log(is_lost ? spdlog::level::warn : spdlog::level::info, "Delivery {} to {} (profile {}): {}{}",
                result.update.id, clean_line(delivery.receiver), clean_line(delivery.profile),
                result.update.last_result, ending_of(result));
}

}  // namespace callhome::service
