#include "delivery/post_office.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <array>
#include <asio/post.hpp>

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
      configuration_(configuration),
      settings_(settings),
      observer_(std::move(observer)),
      queue_(database),
      timer_(io),
      own_name_(own_host_name()),
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

PostOffice::~PostOffice() {
    self_.reset();
    courier_.reset();
}

std::optional<std::vector<std::vector<std::int64_t>>> PostOffice::accept(
    std::span<const NewMessage> messages) {
    if (queue_.waiting_messages() + messages.size() > settings_.most_waiting_messages) {
        return std::nullopt;
    }
    auto ids = queue_.record(messages, settings_.now(), settings_.finished_messages_kept);
    look_after_queue();
    return ids;
}

bool PostOffice::busy_soon() const {
    const auto next = queue_.earliest(under_way_ids());
    return !under_way_.empty() || (next && *next <= settings_.now() + soon);
}

std::set<std::int64_t> PostOffice::under_way_ids() const {
    std::set<std::int64_t> ids;
    for (const auto& [id, state] : under_way_) {
        ids.insert(id);
    }
    return ids;
}

// The database may fail at any time (a full disk); it is asked again after a while.
void PostOffice::look_after_queue() {
    try {
        record_results();
        queue_.bring_forward(settings_.now(), settings_.retry.longest_pause.count());
        offer_due();
        wait_for_next();
    } catch (const std::exception& error) {
        spdlog::error("The message queue cannot be read or written: {}", error.what());
        wait(settings_.clock_check);
    }
    hold_io_context();
}

void PostOffice::offer_due() {
    while (under_way_.size() < settings_.workers && offer_next()) {
    }
}

bool PostOffice::offer_next() {
    const auto delivery = queue_.next_due(settings_.now(), under_way_ids());
    if (!delivery) {
        return false;
    }
    auto message = queue_.message_to_send(delivery->message_id);
    if (!message) {
        return false;
    }
    under_way_[delivery->id] = {delivery->message_id, delivery->attempts};
    courier_->submit(job_for(*delivery, *message));
    return true;
}

DeliveryJob PostOffice::job_for(const WaitingDelivery& delivery, const MessageToSend& message) {
    DeliveryJob job;
    job.delivery_id = delivery.id;
    job.carrier = message.carrier;
    job.receiver = delivery.receiver;
    job.sender = message.sender;
    job.own_name = own_name_;
    job.routes = mail_routes(configuration_);
    job.http = http_route(configuration_);
    job.content_type = content_type_of(message.format);
    job.content = shared_content(delivery.message_id, message.content);
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

void PostOffice::wait_for_next() {
    const auto next = queue_.earliest(under_way_ids());
    if (!next) {
        timer_.cancel();
    } else if (under_way_.size() >= settings_.workers) {
        // What is due waits for a free courier, not for the clock.
        wait(settings_.clock_check);
    } else {
        const std::chrono::seconds until_due(std::max<std::int64_t>(*next - settings_.now(), 0));
        wait(std::min(settings_.clock_check, std::chrono::milliseconds(until_due)));
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

PostOffice::Result PostOffice::result_of(std::int64_t delivery_id, Outcome outcome) const {
    const unsigned attempts = under_way_.at(delivery_id).attempts + 1;
    const std::int64_t now = settings_.now();
    Result result{{delivery_id, protocol::DeliveryState::failed, attempts, 0, now, result_text(outcome)},
                  {delivery_id, std::move(outcome), protocol::DeliveryState::failed, {}}};
    if (result.report.outcome.verdict == Verdict::delivered) {
        result.update.state = protocol::DeliveryState::delivered;
    } else if (result.report.outcome.verdict == Verdict::postponed) {
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
    look_after_queue();
}

// A result that cannot be recorded is kept, and its delivery counts as under way: sending the mail again
// each minute because the disk is full would help nobody.
void PostOffice::record_results() {
    while (!unrecorded_.empty()) {
        queue_.update(unrecorded_.front().update);
        const Result result = std::move(unrecorded_.front());
        unrecorded_.erase(unrecorded_.begin());
        under_way_.erase(result.update.id);
        const bool is_lost = result.update.state == protocol::DeliveryState::failed;
        spdlog::log(is_lost ? spdlog::level::warn : spdlog::level::info, "Delivery {}: {}",
                    result.update.id, result.update.last_result);
        observer_(result.report);
    }
}

}  // namespace callhome::service
