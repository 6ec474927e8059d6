// From a request for a message to its recorded copies in the queue: what the request dispatcher knows
// of messages and their delivery.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <asio/io_context.hpp>

#include "delivery/settings.h"
#include "events/event_settings.h"
#include "messages/preview.h"
#include "messages/signature_report.h"
#include "protocol/records/delivery.h"
#include "protocol/records/message.h"
#include "protocol/status.h"
#include "store/configuration.h"
#include "store/database.h"

namespace callhome::service {

// What a message is asked for with. Texts are as they came from the shell.
struct MessageRequest {
    std::string type;  // "test", "inventory", "PERIODIC_CONFIGURATION", "TEMO-normal", "SW_CRASH", …
    std::string parameter_1;  // of an action message
    std::string parameter_2;
    std::string requested_by;  // login name of the operator
    std::function<void()> when_recorded =
        {};  // told when the message is in the queue, where it comes there
};

struct AlertRequest {
    std::string alert;  // "SUP_FAILURE", …
    std::string source;
    std::string text;
    std::string requested_by;
    std::uint32_t severity = protocol::severity_of_its_name;  // or as the system log counts
};

class MessageService {
 public:
    // Called once, on the io_context's thread: the status of the request and the reply text, one line a
    // receiver ("Successfully sent …" or what went wrong and what happens next).
    using Done = std::function<void(protocol::Status, std::string reply_text)>;

    // Takes up what an earlier run has left in the queue. `configuration` is read at the moment of use;
    // it must outlive this object. Everything but the network runs on the io_context's thread.
    MessageService(asio::io_context& io, Database& database, const Configuration& configuration,
                   const DeliverySettings& settings, EventSettings events = {});
    ~MessageService();

    MessageService(const MessageService&) = delete;
    MessageService& operator=(const MessageService&) = delete;

    // Has the operator's commands of the message's group run, records the message with their output for
    // each profile that takes it, and offers it to the receivers. `done` is told when each receiver was
    // tried once, or after 45 seconds: ok when one of them has the message, not_sent when none has it
    // (yet). Further: malformed_request for an unknown type, not_sent with what to configure when no
    // profile takes the message, message_in_progress while another request is being processed,
    // limit_reached while too much waits already, storage_failed.
    void send(const MessageRequest& request, Done done);

    // As send(), but beside it: what nobody asks for neither waits for an operator's message nor holds one
    // up, and the marker of messages in progress does not stand for it. An alert that repeats one of the
    // last hours is counted: not_sent, and how often it came; the next message about it tells that.
    void alert(const AlertRequest& request, Done done);
    void report(const SignatureReport& report, Done done);

    // As Previewer does.
    void preview(const PreviewRequest& request, PreviewDone done);

    // Gives up all that waits, in the name of that operator; what is under way is not cut. Throws
    // SQLite::Exception when that cannot be recorded, as does resend().
    protocol::ClearQueueRecord clear_queue(const std::string& requested_by);

    // Receivers who do not have the message are due now; for those who have it there is a new message with
    // an identity of its own. Not ok where neither could be done; the record then says why.
    std::pair<protocol::Status, protocol::ResendRecord> resend(std::uint32_t id);

    // All but what the database's health tells.
    protocol::QueueStateRecord queue_state() const;
    // A walk of message_after() from here meets the `count` newest messages.
    std::uint32_t id_before_last(std::uint32_t count) const;

    // Walks by id, from the entry after `id`; nothing when there is none.
    std::optional<protocol::MessageLogRecord> message_after(std::uint32_t id) const;
    // With `message_id` or `state` (a DeliveryState) not 0, only what they name.
    std::optional<protocol::DeliveryLogRecord> delivery_after(std::uint32_t id, std::uint32_t message_id,
                                                              std::uint32_t state = 0) const;
    // The message as its receivers see it: an e-mail with its headers.
    std::optional<std::string> message_text(std::uint32_t id) const;

    // Events that were counted only, since the service started.
    std::size_t duplicates() const;

    // Looks at the queue now: what has failed may work again.
    void look_again();

    // True while something in the queue is due within a minute: no time to end the process.
    bool busy_soon() const;

 private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace callhome::service
