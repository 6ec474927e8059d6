// Any bytes as what a service sends to the platform's link.
//
// Input: which function asks, and then what the peer does (scripted_connection.cpp).
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "input.h"
#include "platform/deliveries.h"
#include "platform/interface.h"
#include "platform/reference.h"
#include "protocol/layout.h"
#include "require.h"
#include "scripted_connection.h"
#include "service_link.h"

using namespace callhome::platform;
namespace protocol = callhome::protocol;
using callhome::fuzz::Input;
using callhome::fuzz::require;

namespace {

void check_status(ServiceStatus status) {
    require(status >= -1, "a status is no other negative number");
    require(status != -1 || (errno != 0 && !last_failure(errno).empty()),
            "a failure has a number and words");
}

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

// Behind a reply stand zeroes up to its record's length, and one more.
void check_reply(const std::byte* reply, std::uint32_t length, const protocol::Exchange& exchange) {
    const protocol::Layout& layout = exchange.reply;
    require(layout.fields.empty() || length <= layout.size + exchange.behind_reply,
            "a reply is not longer than its record and what may stand behind it");
    const std::size_t end = std::max<std::size_t>(length, layout.size);
    for (std::size_t at = length; at <= end; ++at) {
        require(reply[at] == std::byte{0}, "zeroes follow a reply");
    }
}

void exchange_record(Input& script, std::uint32_t opcode) {
    const protocol::Exchange* exchange = protocol::find_exchange(opcode);
    std::vector<std::byte> request(exchange->request.size);
    void* reply = nullptr;
    auto length = static_cast<std::uint32_t>(request.size());
    const ServiceStatus status = svc_request_response(opcode, script.byte(), request.data(), &reply,
                                                      &length, nullptr, nullptr, 0, 0, 60);
    const std::unique_ptr<void, FreeReply> owned(reply);
    check_status(status);
    if (reply == nullptr) {
        return;
    }
    require(status >= 0, "a failed exchange has no reply");
    check_reply(static_cast<const std::byte*>(reply), length, *exchange);
    if (status == 0) {
        ch_msg_byteorder_convert(opcode, reply);
    }
}

void exchange_records(Input& script) {
    // New ones go to the end: the corpus counts on the places of the others.
    constexpr std::array opcodes{
        protocol::Opcode::mail_settings,
        protocol::Opcode::profile_email,
        protocol::Opcode::destination_profile,
        protocol::Opcode::contact_field,
        protocol::Opcode::feature_state,
        protocol::Opcode::send_message,
        protocol::Opcode::traps,
        protocol::Opcode::profile_url,
        protocol::Opcode::mail_server,
        protocol::Opcode::message_text,
        protocol::Opcode::software_inventory,
    };
    while (!script.is_empty()) {
        exchange_record(script, static_cast<std::uint32_t>(opcodes[script.byte() % opcodes.size()]));
    }
}

// Ids rise along a walk.
template <typename Row>
void check_rows(const std::vector<Row>& rows) {
    std::uint32_t last = 0;
    for (const Row& row : rows) {
        require(row.id > last, "a list has no entry twice");
        last = row.id;
    }
}

void list_messages(Input& /*script*/) {
    std::vector<MessageRow> rows;
    check_status(read_messages(rows));
    check_rows(rows);
}

void list_deliveries(Input& script) {
    std::vector<DeliveryRow> rows;
    check_status(read_deliveries(script.byte(), rows));
    check_rows(rows);
}

void show_message(Input& script) {
    std::string text;
    check_status(read_message_text(script.byte(), text));
    require(text.size() <= protocol::largest_frame_body, "a text is not longer than a frame");
}

void name_contact(Input& script) {
    const std::string contact = script.counted_text();
    check_status(set_system_contact(contact));
    check_status(set_system_contact(std::nullopt));
}

void post_alert(Input& script) {
    const std::string text = script.counted_text();
    const auto result = std::make_unique<AlertResult>();
    const ServiceStatus status = ch_post_alert(0, text.c_str(), text.c_str(), text.c_str(), result.get());
    check_status(status);
    require(result->status == status, "an alert's result is its status");
    require(strnlen(result->text, sizeof result->text) < sizeof result->text,
            "an alert's reply is terminated");
}

void look_at_deliveries(Input& script) {
    QueueState state;
    check_status(read_queue_state(state));
    ProfileStatistics figures;
    check_status(read_profile_statistics(script.counted_text(), figures));
    ResentMessage resent{};
    check_status(resend_message(script.byte(), resent));
}

void preview_message(Input& script) {
    const std::string type = script.counted_text();
    Preview preview;
    const ServiceStatus status = read_preview(type, "", preview);
    check_status(status);
    std::size_t length = 0;
    for (const PreviewRow& row : preview.messages) {
        length += row.text.size();
    }
    require(length <= protocol::largest_frame_body,
            "texts are not longer than the frame that they came in");
}

// New ones go to the end: the corpus counts on the places of the others.
constexpr std::array<void (*)(Input&), 8> functions{
    exchange_records, list_messages, list_deliveries,    show_message,
    name_contact,     post_alert,    look_at_deliveries, preview_message,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input script(data, size);
    use_script(script);
    use_service({.socket = "scripted", .program = {}, .state_folder = {}});
    functions[script.byte() % functions.size()](script);
    return 0;
}
