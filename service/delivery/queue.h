// The messages and their receivers in the database. Used on the io_context's thread only; throws
// SQLite::Exception when the database fails.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "delivery/route.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/message.h"
#include "store/database.h"

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
};

struct WaitingDelivery {
    std::int64_t id = 0;
    std::int64_t message_id = 0;
    std::string receiver;
    unsigned attempts = 0;  // made so far
};

// What one attempt came to.
struct DeliveryUpdate {
    std::int64_t id = 0;
    protocol::DeliveryState state = protocol::DeliveryState::waiting;
    unsigned attempts = 0;
    std::int64_t next_attempt_at = 0;  // 0 when there is none
    std::int64_t last_attempt_at = 0;
    std::string last_result;
};

struct MessageToSend {
    Carrier carrier = Carrier::smtp;
    protocol::MessageFormat format = protocol::MessageFormat::full_text;
    std::string sender;
    std::string content;
};

class Queue {
 public:
    // Creates the tables where they are missing.
    explicit Queue(Database& database);

    // Records the messages with all their deliveries, and removes the oldest finished messages beyond
    // `finished_kept`, in one transaction. Gives the ids of the deliveries, message by message.
    std::vector<std::vector<std::int64_t>> record(std::span<const NewMessage> messages, std::int64_t now,
                                                  std::size_t finished_kept);

    // Messages that some receiver still waits for.
    std::size_t waiting_messages() const;

    // The next delivery that is due and not in `under_way`: first tries before repeated ones.
    std::optional<WaitingDelivery> next_due(std::int64_t now,
                                            const std::set<std::int64_t>& under_way) const;

    // When the earliest delivery that is not in `under_way` is due.
    std::optional<std::int64_t> earliest(const std::set<std::int64_t>& under_way) const;

    // Makes whatever would have to wait for longer than `longest_pause` due by then: the clock was set
    // back.
    void bring_forward(std::int64_t now, std::int64_t longest_pause);

    std::optional<MessageToSend> message_to_send(std::int64_t message_id) const;

    void update(const DeliveryUpdate& update);

    // The walks of MessageService.
    std::optional<protocol::MessageLogRecord> message_after(std::uint32_t id) const;
    std::optional<protocol::DeliveryLogRecord> delivery_after(std::uint32_t id, std::uint32_t message_id,
                                                              std::uint32_t state = 0) const;

 private:
    std::optional<WaitingDelivery> next_in_turn(std::int64_t now, bool tried_before,
                                                const std::set<std::int64_t>& under_way) const;
    std::vector<std::int64_t> record_one(const NewMessage& message, std::int64_t now);

    SQLite::Database& connection_;
};

}  // namespace callhome::service
