// Takes messages into the queue and sees to it that every receiver gets them, or is given up.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include "delivery/courier.h"
#include "delivery/queue.h"
#include "delivery/settings.h"
#include "store/configuration.h"

namespace callhome::service {

// What an attempt means for its delivery.
struct AttemptReport {
    std::int64_t delivery_id = 0;
    Outcome outcome;
    protocol::DeliveryState state = protocol::DeliveryState::waiting;  // after the attempt
    std::chrono::seconds pause{0};  // until the next try, where there is one
};

// Lives on the io_context's thread, which never waits for the network.
class PostOffice {
 public:
    using Observer = std::function<void(const AttemptReport&)>;

    // Takes up what the queue holds as soon as the io_context runs. `observer` is told of each attempt
    // when its result is recorded. All references must outlive this object.
    PostOffice(asio::io_context& io, Database& database, const Configuration& configuration,
               const DeliverySettings& settings, Observer observer);
    ~PostOffice();

    PostOffice(const PostOffice&) = delete;
    PostOffice& operator=(const PostOffice&) = delete;

    // Records the messages; they are offered as soon as a courier is free. Where the queue has no room for
    // them, nothing was recorded and the reason is told. Throws SQLite::Exception when they cannot be
    // recorded: then nothing will be sent.
    RecordedMessages accept(std::span<const NewMessage> messages);

    // As accept(), but what is handed in at about the same time goes to the disk together. `told` is called
    // once that is done, from the io_context, and before a receiver is tried; never where this object goes
    // before. What it throws is the caller's loss.
    using Told = std::function<void(const RecordedMessages&)>;
    void hand_in(RequestedMessages messages, Told told);

    const Queue& queue() const { return queue_; }
    const QueueLimits& limits() const { return settings_.queue; }

    // What an operator asks for. Both throw SQLite::Exception when it cannot be recorded.
    struct Cleared {
        std::size_t given_up = 0;
        std::size_t under_way = 0;  // is not cut, and stays in the queue where it fails
    };
    // `why` becomes the result of what is given up.
    Cleared give_up_all(const std::string& why);
    struct Due {
        std::size_t receivers = 0;
        std::size_t under_way = 0;
    };
    // Tries the receivers of the message who do not have it, those who were given up among them.
    Due make_due(std::int64_t message_id);

    // True while a delivery is under way or due within a minute.
    bool busy_soon() const;

    // Looks at the queue now: what failed may work again.
    void look_again() { look_after_queue(); }

 private:
    struct UnderWay {
        std::int64_t message_id;
        unsigned attempts;  // before this one
        std::string lane;
        std::string receiver;
        std::string profile;
        std::int64_t recorded_ms;
        bool is_over = false;  // its result is still to be recorded
    };
    struct Result {
        DeliveryUpdate update;
        AttemptReport report;
    };

    void offer_due();
    bool offer_next();
    void wait_for_next();
    void wait(std::chrono::milliseconds time);
    void hold_io_context();
    void look_after_queue();
    void look_soon();
    void keep_couriers_busy();
    std::size_t busy_couriers() const;
    void take_room(const RecordedMessages& recorded);
    void take_failure(const std::exception& error);
    DeliveryJob job_for(const WaitingDelivery& delivery, MessageToSend& message);
    std::vector<MailRoute> routes() const;
    void remember_servers_down(const Outcome& outcome);
    std::shared_ptr<const std::string> shared_content(std::int64_t message_id, std::string content);
    void finished(std::int64_t delivery_id, Outcome outcome);
    void record_what_came();
    std::vector<DeliveryUpdate> unrecorded_updates() const;
    std::vector<RecordedMessages> record(std::span<const RequestedMessages> messages);
    void tell(const std::vector<Told>& all_told, const std::vector<RecordedMessages>& recorded);
    void take_recorded(const Result& result);
    void remember_encryption(const Outcome& outcome);
    static void log(const Result& result, const UnderWay& delivery);
    static const char* ending_of(const Result& result);
    std::set<std::int64_t> under_way_ids() const;
    std::set<std::int64_t> messages_under_way() const;
    std::set<std::string> full_lanes() const;
    Result result_of(std::int64_t delivery_id, Outcome outcome) const;
    std::int64_t latency_of(const UnderWay& delivery, const Outcome& outcome) const;

    asio::io_context& io_;
    Database& database_;
    const Configuration& configuration_;
    const DeliverySettings settings_;
    Observer observer_;
    Queue queue_;
    asio::steady_timer timer_;
    asio::steady_timer next_recording_;
    std::chrono::steady_clock::time_point recorded_at_;
    std::string own_name_;
    std::set<std::string> encrypting_servers_;
    std::map<std::string, std::chrono::steady_clock::time_point> servers_down_;  // until when they rest
    std::map<std::int64_t, UnderWay> under_way_;  // by delivery; also those whose result is unrecorded
    std::vector<Result> unrecorded_;
    std::vector<RequestedMessages> handed_in_;
    std::vector<Told> to_be_told_;  // of those
    bool looks_soon_ = false;
    // Keeps the io_context at work while a result is still to come.
    std::optional<asio::executor_work_guard<asio::io_context::executor_type>> work_;
    std::map<std::int64_t, std::weak_ptr<const std::string>> contents_;  // by message; one copy for all
    // Results on their way from the courier's threads find out here whether there is still someone to tell.
    std::shared_ptr<PostOffice*> self_;
    std::unique_ptr<Courier> courier_;  // last: its threads use what stands above
};

}  // namespace callhome::service
