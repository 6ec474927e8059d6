// The requests that the shell makes by itself.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>

#include "ask.h"
#include "platform/reference.h"
#include "protocol/marker.h"
#include "protocol/records/contact.h"
#include "protocol/records/delivery.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/distribution.h"
#include "protocol/records/feature.h"
#include "protocol/records/message.h"
#include "protocol/records/trace.h"
#include "record_text.h"

namespace callhome::platform {
namespace {

using protocol::ActionResult;
using protocol::DeliveryLogRecord;
using protocol::DeliveryState;
using protocol::MessageFormat;
using protocol::MessageLogRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::SessionAction;

constexpr const char* system_contact = "sysContact";

// As the commands and the running configuration name the formats.
constexpr std::array format_words{
    Word<MessageFormat>{MessageFormat::xml, "XML"},
    Word<MessageFormat>{MessageFormat::full_text, "full-txt"},
    Word<MessageFormat>{MessageFormat::short_text, "short-txt"},
};

constexpr std::array state_words{
    Word<DeliveryState>{DeliveryState::waiting, "waiting"},
    Word<DeliveryState>{DeliveryState::delivered, "delivered"},
    Word<DeliveryState>{DeliveryState::failed, "failed"},
};

constexpr std::array action_words{
    Word<SessionAction>{SessionAction::none, "none"},
    Word<SessionAction>{SessionAction::commit, "commit"},
    Word<SessionAction>{SessionAction::discard, "discard"},
    Word<SessionAction>{SessionAction::clear, "clear"},
};

// As the commit command names what came of it.
constexpr std::array result_words{
    Word<ActionResult>{ActionResult::none, "none"},
    Word<ActionResult>{ActionResult::success, "success"},
    Word<ActionResult>{ActionResult::fail, "fail"},
    Word<ActionResult>{ActionResult::in_progress, "inprogress"},
};

// The reply is a text without a terminator.
template <typename Record>
ServiceStatus ask_for_text(Opcode opcode, const Record& record, std::string& text) {
    Reply reply;
    const ServiceStatus status = ask(opcode, Operation::get, record, reply);
    if (status == 0 && reply.record != nullptr) {
        text = text_of(reply);
    }
    return status;
}

// Visits the entries after `key`, in the order of their ids, which rise: a list that does not end would
// otherwise keep the operator waiting.
template <typename Record, typename Visit>
ServiceStatus walk(Opcode opcode, Record key, Visit visit) {
    const auto ends = static_cast<ServiceStatus>(protocol::Status::no_further_entry);
    for (;;) {
        Reply reply;
        const ServiceStatus status = ask(opcode, Operation::get_next, key, reply);
        if (status != 0) {
            return status == ends ? 0 : status;
        }
        const Record record = record_in<Record>(reply);
        if (record.id <= key.id) {
            return report_failure(EPROTO, "the call-home service's list goes round in circles");
        }
        visit(record);
        key.id = record.id;
    }
}

MessageRow row_of(const MessageLogRecord& record) {
    return {.id = record.id,
            .recorded_at = record.recorded_at,
            .size = record.size,
            .waiting = record.waiting,
            .delivered = record.delivered,
            .failed = record.failed,
            .format = format_word(record.format),
            .type = text_in(record.type),
            .profile = text_in(record.profile),
            .subject = text_in(record.subject)};
}

DeliveryRow row_of(const DeliveryLogRecord& record) {
    return {.id = record.id,
            .message_id = record.message_id,
            .attempts = record.attempts,
            .next_attempt_at = record.next_attempt_at,
            .last_attempt_at = record.last_attempt_at,
            .state = word_of(state_words, record.state),
            .receiver = text_in(record.receiver),
            .last_result = text_in(record.last_result),
            .profile = text_in(record.profile)};
}

ServiceStatus walk_deliveries(const DeliveryLogRecord& key, std::vector<DeliveryRow>& rows) {
    return walk(Opcode::delivery_log, key,
                [&](const DeliveryLogRecord& record) { rows.push_back(row_of(record)); });
}

}  // namespace

std::string format_word(std::uint32_t format) {
    return word_of(format_words, format);
}

ServiceStatus set_system_contact(const std::optional<std::string>& contact) {
    protocol::ContactRecord record{};
    put_text(record.name, system_contact);
    put_text(record.value, contact.value_or(std::string()));
    Reply reply;
    return ask(Opcode::contact_field, contact ? Operation::set : Operation::remove, record, reply);
}

ServiceStatus read_system_contact(std::optional<std::string>& contact) {
    protocol::ContactRecord record{};
    put_text(record.name, system_contact);
    Reply reply;
    const ServiceStatus status = ask(Opcode::contact_field, Operation::get, record, reply);
    if (status == static_cast<ServiceStatus>(protocol::Status::not_found)) {
        contact.reset();
        return 0;
    }
    if (status == 0) {
        contact = text_in(record_in<protocol::ContactRecord>(reply).value);
    }
    return status;
}

ServiceStatus read_traps(bool& are_on) {
    Reply reply;
    const ServiceStatus status = ask(Opcode::traps, Operation::get, protocol::SwitchRecord{}, reply);
    are_on = status == 0 && record_in<protocol::SwitchRecord>(reply).enabled != 0;
    return status;
}

ServiceStatus read_distribution(bool& is_on) {
    Reply reply;
    const ServiceStatus status =
        ask(Opcode::distribution, Operation::get, protocol::DistributionRecord{}, reply);
    is_on = status == 0 && record_in<protocol::DistributionRecord>(reply).enabled != 0;
    return status == static_cast<ServiceStatus>(protocol::Status::not_found) ? 0 : status;
}

ServiceStatus check_pending_copy() {
    Reply reply;
    return ask(Opcode::distribution, Operation::get_pending, protocol::DistributionRecord{}, reply);
}

ServiceStatus read_session(SessionState& state) {
    Reply reply;
    const ServiceStatus status =
        ask(Opcode::session_state, Operation::get, protocol::SessionRecord{}, reply);
    if (status != 0) {
        return status;
    }
    const auto record = record_in<protocol::SessionRecord>(reply);
    state = {.is_open = record.is_open != 0,
             .opened_at = record.opened_at,
             .owner = text_in(record.owner),
             .last_action = word_of(action_words, record.last_action),
             .last_result = word_of(result_words, record.last_result),
             .last_cause = {},
             .last_at = record.last_at,
             .last_user = text_in(record.last_user)};
    if (record.last_result == static_cast<std::uint32_t>(ActionResult::fail)) {
        state.last_cause = ::sys_err_to_str(static_cast<std::int32_t>(record.last_cause));
    }
    return 0;
}

bool is_processing_message() {
    return ::access(protocol::processing_marker, F_OK) == 0;
}

std::string local_time_text(std::uint32_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    constexpr std::size_t longest_time = 32;
    std::array<char, longest_time> text{};
    ::localtime_r(&time, &parts);
    const std::size_t length = std::strftime(text.data(), text.size(), "%F %T", &parts);
    return {text.data(), length};
}

ServiceStatus read_messages(std::vector<MessageRow>& rows, std::optional<std::uint32_t> last) {
    MessageLogRecord key{};
    if (last) {
        Reply reply;
        const protocol::MessageTailRecord tail{.count = *last, .before = 0};
        if (const ServiceStatus status = ask(Opcode::message_tail, Operation::get, tail, reply);
            status != 0) {
            return status;
        }
        key.id = record_in<protocol::MessageTailRecord>(reply).before;
    }
    return walk(Opcode::message_log, key,
                [&](const MessageLogRecord& record) { rows.push_back(row_of(record)); });
}

ServiceStatus read_deliveries(std::uint32_t message_id, std::vector<DeliveryRow>& rows) {
    DeliveryLogRecord key{};
    key.message_id = message_id;
    return walk_deliveries(key, rows);
}

ServiceStatus read_queue(std::vector<DeliveryRow>& rows) {
    DeliveryLogRecord key{};
    key.state = static_cast<std::uint32_t>(DeliveryState::waiting);
    return walk_deliveries(key, rows);
}

ServiceStatus read_message_text(std::uint32_t message_id, std::string& text) {
    return ask_for_text(Opcode::message_text, protocol::MessageKeyRecord{.id = message_id}, text);
}

ServiceStatus read_trace_buffer(std::string_view name, std::string& text) {
    protocol::TraceKeyRecord key{};
    put_text(key.buffer, name);
    return ask_for_text(Opcode::trace_buffer, key, text);
}

ServiceStatus read_memory_statistics(bool with_detail, std::string& text) {
    return ask_for_text(Opcode::memory_statistics,
                        protocol::MemoryStatisticsRequest{.detail = with_detail ? 1U : 0U}, text);
}

}  // namespace callhome::platform
