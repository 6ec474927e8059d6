#include "trace/request_words.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "protocol/opcode.h"

namespace callhome::service {
namespace {

using protocol::Opcode;
using protocol::Operation;

template <typename Number>
struct Word {
    Number number;
    std::string_view word;
};

constexpr std::array operation_words{
    Word<Operation>{Operation::get, "get"},
    Word<Operation>{Operation::get_next, "get_next"},
    Word<Operation>{Operation::set, "set"},
    Word<Operation>{Operation::remove, "remove"},
    Word<Operation>{Operation::get_pending, "get_pending"},
    Word<Operation>{Operation::get_next_pending, "get_next_pending"},
};

// As the sources name them, so that a trace leads to its function.
constexpr std::array opcode_words{
    Word<Opcode>{Opcode::mail_settings, "mail_settings"},
    Word<Opcode>{Opcode::profile_email, "profile_email"},
    Word<Opcode>{Opcode::destination_profile, "destination_profile"},
    Word<Opcode>{Opcode::contact_field, "contact_field"},
    Word<Opcode>{Opcode::feature_state, "feature_state"},
    Word<Opcode>{Opcode::send_message, "send_message"},
    Word<Opcode>{Opcode::alert_group, "alert_group"},
    Word<Opcode>{Opcode::software_inventory, "software_inventory"},
    Word<Opcode>{Opcode::duplicate_throttle, "duplicate_throttle"},
    Word<Opcode>{Opcode::periodic_inventory, "periodic_inventory"},
    Word<Opcode>{Opcode::distribution, "distribution"},
    Word<Opcode>{Opcode::commit, "commit"},
    Word<Opcode>{Opcode::clear_session, "clear_session"},
    Word<Opcode>{Opcode::user_command, "user_command"},
    Word<Opcode>{Opcode::traps, "traps"},
    Word<Opcode>{Opcode::profile_url, "profile_url"},
    Word<Opcode>{Opcode::mail_server, "mail_server"},
    Word<Opcode>{Opcode::http_vrf, "http_vrf"},
    Word<Opcode>{Opcode::http_proxy, "http_proxy"},
    Word<Opcode>{Opcode::service_info, "service_info"},
    Word<Opcode>{Opcode::signature_view, "signature_view"},
    Word<Opcode>{Opcode::message_statistics, "message_statistics"},
    Word<Opcode>{Opcode::signatures_active, "signatures_active"},
    Word<Opcode>{Opcode::signature_profile, "signature_profile"},
    Word<Opcode>{Opcode::signature_environment, "signature_environment"},
    Word<Opcode>{Opcode::signature_statistics, "signature_statistics"},
    Word<Opcode>{Opcode::signature_action, "signature_action"},
    Word<Opcode>{Opcode::data_privacy, "data_privacy"},
    Word<Opcode>{Opcode::message_log, "message_log"},
    Word<Opcode>{Opcode::delivery_log, "delivery_log"},
    Word<Opcode>{Opcode::message_text, "message_text"},
    Word<Opcode>{Opcode::post_alert, "post_alert"},
    Word<Opcode>{Opcode::session_state, "session_state"},
    Word<Opcode>{Opcode::trace_buffer, "trace_buffer"},
    Word<Opcode>{Opcode::memory_statistics, "memory_statistics"},
    Word<Opcode>{Opcode::queue_state, "queue_state"},
    Word<Opcode>{Opcode::profile_statistics, "profile_statistics"},
    Word<Opcode>{Opcode::clear_queue, "clear_queue"},
    Word<Opcode>{Opcode::resend_message, "resend_message"},
    Word<Opcode>{Opcode::message_tail, "message_tail"},
    Word<Opcode>{Opcode::message_preview, "message_preview"},
};

template <typename Words>
std::string word_of(const Words& words, std::uint32_t number) {
    for (const auto& row : words) {
        if (static_cast<std::uint32_t>(row.number) == number) {
            return std::string(row.word);
        }
    }
    return std::to_string(number);
}

}  // namespace

std::string words_of_request(std::uint32_t opcode, std::uint32_t operation) {
    return word_of(operation_words, operation) + " " + word_of(opcode_words, opcode);
}

bool is_reading(std::uint32_t operation) {
    constexpr std::array reading{Operation::get, Operation::get_next, Operation::get_pending,
                                 Operation::get_next_pending};
    return std::ranges::find(reading, static_cast<Operation>(operation)) != reading.end();
}

}  // namespace callhome::service
