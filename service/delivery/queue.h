// The messages and their receivers in the database. Used on the io_context's thread only; throws
// SQLite::Exception when the database fails.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "delivery/route.h"
#include "delivery/settings.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/message.h"
#include "store/database.h"
#include "store/transaction.h"

namespace callhome::service {

struct NewMessage {
    std::string type;
    std::string profile;
    std::string subject;
    protocol::MessageFormat format = protocol::MessageFormat::full_text;
    Carrier carrier = Carrier::smtp;
    std::string sender;    // SMTP: the envelope's
    std::size_t size = 0;  // bytes of the composed text, without the mail around it
    std::string content;   // what is sent, to the byte
    std::vector<std::string> receivers;
    std::string key = {};  // what tells it from all other messages, to receivers by HTTP
    int severity = 2;      // the higher, the graver; numbers of Severity
};

// Where there is no room, the reason; then nothing was recorded.
struct RecordedMessages {
    std::vector<std::vector<std::int64_t>> deliveries;  // their ids, message by message
    std::vector<std::int64_t> dropped;                  // deliveries that had to make room
    std::string why_no_room;
    bool is_disk_full = false;
    std::string failure =
        {};  // of the database, where that is not thrown; nothing was recorded then, either
};

inline constexpr const char* dropped_result = "dropped: the queue was full";

// The same moment twice, by clocks that tests may set apart.
struct RecordingTime {
    std::int64_t seconds = 0;
    std::int64_t milliseconds = 0;
};

// On what terms the queue takes messages.
struct RecordingTerms {
    RecordingTime time;
    std::size_t finished_kept = 0;
    const QueueLimits& limits;
    // Messages that do not make room: their end is still to be recorded.
    const std::set<std::int64_t>& under_way;
};

// A request's messages are all recorded or none.
using RequestedMessages = std::vector<NewMessage>;

struct WaitingDelivery {
    std::int64_t id = 0;
    std::int64_t message_id = 0;
    std::string receiver;
    unsigned attempts = 0;  // made so far
    std::string lane;       // those of a lane stand in each other's way, and in nobody else's
    std::int64_t due_at = 0;
};

// What one attempt came to.
struct DeliveryUpdate {
    std::int64_t id = 0;
    protocol::DeliveryState state = protocol::DeliveryState::waiting;
    unsigned attempts = 0;
    std::int64_t next_attempt_at = 0;  // 0 when there is none
    std::int64_t last_attempt_at = 0;
    std::string last_result;
    std::string error = {};       // of this attempt; empty when there was none
    std::int64_t latency_ms = 0;  // of a delivered one
};

struct MessageToSend {
    Carrier carrier = Carrier::smtp;
    protocol::MessageFormat format = protocol::MessageFormat::full_text;
    std::string sender;
    std::string content;
    std::string key;
    std::int64_t recorded_ms = 0;  // milliseconds since 1970
    std::string profile;
};

// A message as it was recorded; its receivers are those who have it.
struct RecordedMessage {
    NewMessage message;
    std::size_t failed = 0;   // receivers that were given up
    std::size_t waiting = 0;  // receivers that are still to be tried
};

// Of what waits.
struct QueueTotals {
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;
    std::uint64_t dropped = 0;  // deliveries that had to make room, ever
    std::uint64_t deliveries = 0;
};

class Queue {
 public:
    // Creates the tables where they are missing.
    explicit Queue(Database& database);

    // Records the messages with all their deliveries, makes room for them as `limits` say, and removes the
    // oldest finished messages beyond `finished_kept`, in one transaction. What is in `under_way` does not
    // make room: its end is still to be recorded.
    RecordedMessages record(std::span<const NewMessage> messages, const RecordingTime& time,
                            std::size_t finished_kept, const QueueLimits& limits = {},
                            const std::set<std::int64_t>& under_way = {});

    // Results and requests that come together, in one transaction: each costs a write to the disk. Room is
    // made for one request after the other; one that finds none leaves no trace. When it throws, nothing of
    // all that was recorded.
    std::vector<RecordedMessages> record_together(std::span<const DeliveryUpdate> updates,
                                                  std::span<const RequestedMessages> requests,
                                                  const RecordingTerms& terms);

    // Messages that some receiver still waits for.
    std::size_t waiting_messages() const;
    // Whether the disk has as much to spare as is to be left to others.
    bool has_disk_room(const QueueLimits& limits) const;
    // Deliveries that were dropped for want of room, ever.
    std::uint64_t dropped() const;

    // The next delivery that is due, not in `under_way`, and in none of `full_lanes`: first tries before
    // repeated ones.
    std::optional<WaitingDelivery> next_due(std::int64_t now, const std::set<std::int64_t>& under_way,
                                            const std::set<std::string>& full_lanes = {}) const;

    // When the earliest delivery that waits is due.
    std::optional<std::int64_t> earliest() const;
    // When the earliest one after `now` is.
    std::optional<std::int64_t> earliest_after(std::int64_t now) const;

    // Makes whatever would have to wait for longer than `longest_pause` due by then: the clock was set
    // back.
    void bring_forward(std::int64_t now, std::int64_t longest_pause);

    std::optional<MessageToSend> message_to_send(std::int64_t message_id) const;

    // All of them or, when it throws, none.
    void update(std::span<const DeliveryUpdate> updates);

    // What an operator does to the queue. What is in `under_way` is left alone.
    // All that waits becomes failed, with `why` as its result. Gives the ids.
    std::vector<std::int64_t> give_up_all(const std::set<std::int64_t>& under_way, std::int64_t now,
                                          const std::string& why);
    std::optional<RecordedMessage> recorded_message(std::int64_t id) const;
    // Empty where the message may wait (again) without another one having to go.
    std::string why_no_room_for(const NewMessage& message, const QueueLimits& limits) const;
    // The receivers of the message who do not have it are due now; gives how many these are.
    std::size_t make_due(std::int64_t message_id, const std::set<std::int64_t>& under_way,
                         std::int64_t now);

    QueueTotals totals() const;
    // A walk from here meets the `count` newest messages.
    std::uint32_t id_before_last(std::uint32_t count) const;

    // Mail servers that have taken mail encrypted, as Outcome::through names them.
    std::set<std::string> encrypting_servers() const;
    void add_encrypting_server(const std::string& server);

    // The walks of MessageService.
    std::optional<protocol::MessageLogRecord> message_after(std::uint32_t id) const;
    std::optional<protocol::DeliveryLogRecord> delivery_after(std::uint32_t id, std::uint32_t message_id,
                                                              std::uint32_t state = 0) const;

 private:
    struct Turn;
    struct Shortage {
        std::string why;
        bool is_of_disk = false;
    };
    // What wants to come in.
    struct Coming {
        std::span<const NewMessage> messages;
        std::uint64_t before = 0;  // bytes that came in the same transaction
        const RecordingTerms& terms;
    };
    std::vector<std::string> lanes(std::size_t most) const;
    std::optional<WaitingDelivery> next_in_turn(const Turn& turn) const;
    std::optional<WaitingDelivery> next_in_lanes(const Turn& turn,
                                                 std::span<const std::string> lanes) const;
    RecordedMessages record_request(const Coming& coming);
    std::vector<std::int64_t> record_one(const NewMessage& message, const RecordingTime& time);
    std::vector<std::int64_t> record_deliveries(std::int64_t message_id, const NewMessage& message,
                                                std::int64_t now);
    void change_waiting(std::span<const DeliveryUpdate> updates);
    std::optional<Shortage> make_room(const Coming& coming, std::vector<std::int64_t>& dropped);
    std::optional<Shortage> drop_until_there_is_room(const Coming& coming,
                                                     std::vector<std::int64_t>& dropped);
    std::optional<Shortage> shortage(std::span<const NewMessage> messages, const QueueLimits& limits,
                                     std::uint64_t before = 0) const;
    bool forget_one();
    bool drop_one(int most_severity, const RecordingTerms& terms, std::vector<std::int64_t>& dropped);
    std::optional<std::int64_t> first_to_drop(int most_severity,
                                              const std::set<std::int64_t>& under_way) const;
    void prune(std::size_t finished_kept);

    SQLite::Database& connection_;
    Statements& statements_;
    Transactions transactions_;
    const std::filesystem::path folder_;
};

}  // namespace callhome::service
