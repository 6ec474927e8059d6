#include "message_displays.h"

#include <array>
#include <ctime>

#include "columns.h"
#include "delivery_displays.h"
#include "platform/reference.h"

namespace callhome::shell {

namespace {

using platform::DeliveryRow;
using platform::MessageRow;
using enum platform::ValueType;

std::string state_of(const MessageRow& row) {
    std::string state;
    const auto add_count = [&](std::uint32_t count, const char* what) {
        if (count > 0) {
            state += (state.empty() ? "" : ", ") + std::to_string(count) + " " + what;
        }
    };
    add_count(row.delivered, "delivered");
    add_count(row.waiting, "waiting");
    add_count(row.failed, "failed");
    return state.empty() ? "no receiver" : state;
}

std::string next_try_of(const DeliveryRow& row) {
    const auto now = static_cast<std::uint32_t>(std::time(nullptr));
    return row.next_attempt_at <= now ? "now" : local_time({row.next_attempt_at});
}

template <auto text_of, typename Row>
Cell made_by(const Row& row) {
    return text_of(row);
}

constexpr std::string_view message_list = "messages[]";
constexpr Column<MessageRow> message_columns[] = {
    {"ID", "messages[]/id", number, cell_of<MessageRow, &MessageRow::id>},
    {"Recorded", "messages[]/recorded_at", time, time_of<MessageRow, &MessageRow::recorded_at>},
    {"Type", "messages[]/type", text, cell_of<MessageRow, &MessageRow::type>},
    {"Profile", "messages[]/profile", text, cell_of<MessageRow, &MessageRow::profile>},
    {"Format", "messages[]/format", text, cell_of<MessageRow, &MessageRow::format>},
    {"Bytes", "messages[]/bytes", number, cell_of<MessageRow, &MessageRow::size>},
    {"Receivers", "", text, made_by<state_of, MessageRow>},
    {"", "messages[]/delivered", number, cell_of<MessageRow, &MessageRow::delivered>},
    {"", "messages[]/waiting", number, cell_of<MessageRow, &MessageRow::waiting>},
    {"", "messages[]/failed", number, cell_of<MessageRow, &MessageRow::failed>},
    {"Subject", "messages[]/subject", text, cell_of<MessageRow, &MessageRow::subject>},
};

constexpr std::string_view receiver_list = "receivers[]";
constexpr Column<DeliveryRow> receiver_columns[] = {
    {"Receiver", "receivers[]/address", text, cell_of<DeliveryRow, &DeliveryRow::receiver>},
    {"State", "receivers[]/state", text, cell_of<DeliveryRow, &DeliveryRow::state>},
    {"Tries", "receivers[]/tries", number, cell_of<DeliveryRow, &DeliveryRow::attempts>},
    {"Last try", "receivers[]/last_try_at", time, time_of<DeliveryRow, &DeliveryRow::last_attempt_at>},
    {"Last result", "receivers[]/last_result", text, cell_of<DeliveryRow, &DeliveryRow::last_result>},
};

constexpr std::string_view delivery_list = "deliveries[]";
constexpr Column<DeliveryRow> waiting_columns[] = {
    {"Message", "deliveries[]/message", number, cell_of<DeliveryRow, &DeliveryRow::message_id>},
    {"Profile", "deliveries[]/profile", text, cell_of<DeliveryRow, &DeliveryRow::profile>},
    {"Receiver", "deliveries[]/receiver", text, cell_of<DeliveryRow, &DeliveryRow::receiver>},
    {"Tries", "deliveries[]/tries", number, cell_of<DeliveryRow, &DeliveryRow::attempts>},
    {"Next try", "", text, made_by<next_try_of, DeliveryRow>},
    {"", "deliveries[]/next_try_at", time, time_of<DeliveryRow, &DeliveryRow::next_attempt_at>},
    {"Last result", "deliveries[]/last_result", text, cell_of<DeliveryRow, &DeliveryRow::last_result>},
};

}  // namespace

ServiceStatus show_message_list(std::optional<std::uint32_t> last) {
    std::vector<MessageRow> rows;
    const ServiceStatus status = platform::read_messages(rows, last);
    if (status == 0) {
        show_rows<MessageRow>(message_list, message_columns, rows, "No message has been recorded.\n");
    }
    return status;
}

ServiceStatus show_waiting() {
    std::vector<DeliveryRow> rows;
    platform::QueueState state;
    if (const ServiceStatus status = platform::read_queue(rows); status != 0) {
        return status;
    }
    if (const ServiceStatus status = platform::read_queue_state(state); status != 0) {
        return status;
    }
    show_rows<DeliveryRow>(delivery_list, waiting_columns, rows, "Nothing waits to be sent.\n");
    if (!platform::is_output_structured()) {
        std::putchar('\n');
    }
    show_queue_state(state);
    return 0;
}

ServiceStatus show_one_message(std::uint32_t id) {
    std::string message;
    std::vector<DeliveryRow> rows;
    if (const ServiceStatus status = platform::read_message_text(id, message); status != 0) {
        return status;
    }
    if (const ServiceStatus status = platform::read_deliveries(id, rows); status != 0) {
        return status;
    }
    std::string readable = printable(message, KeepLineEnds::yes);
    if (!readable.ends_with('\n')) {
        readable += '\n';
    }
    std::fputs(readable.c_str(), stdout);
    if (!rows.empty() && !platform::is_output_structured()) {
        std::putchar('\n');
    }
    show_rows<DeliveryRow>(receiver_list, receiver_columns, rows, "");
    return 0;
}

platform::Members message_document(std::string_view name) {
    platform::Members members;
    if (name == "messages") {
        add_members<MessageRow>(members, message_columns);
    } else if (name == "message") {
        members.push_back({platform::text_lines});
        add_members<DeliveryRow>(members, receiver_columns);
    } else if (name == "queue") {
        add_members<DeliveryRow>(members, waiting_columns);
        add_queue_state(members);
    }
    return members;
}

}  // namespace callhome::shell
