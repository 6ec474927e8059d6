#include "requests/dispatch.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>

#include "protocol/layout.h"
#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

// Reads the record and calls the function. The copy costs little and spares every function the
// question of alignment.
template <auto function, typename Record>
Outcome call_with_record(Call& call) {
    Record record;
    std::memcpy(&record, call.record.data(), sizeof(Record));
    return function(call, record);
}

template <auto function, typename Record>
constexpr RequestRow row_of(Opcode opcode, Operation operation, Access access,
                            Outcome (*)(Call&, const Record&)) {
    return {opcode, operation, access, sizeof(Record), call_with_record<function, Record>};
}

template <auto function>
constexpr RequestRow reads(Opcode opcode, Operation operation) {
    return row_of<function>(opcode, operation, Access::read, function);
}

template <auto function>
constexpr RequestRow changes(Opcode opcode, Operation operation) {
    return row_of<function>(opcode, operation, Access::change, function);
}

// A pending copy exists while a distribution session is open; distribution is off.
Outcome answer_from_pending_copy(Call& /*call*/) {
    return Status::distribution_off;
}

constexpr RequestRow pending(Opcode opcode, Operation operation) {
    return {opcode, operation, Access::read, 0, answer_from_pending_copy};
}

constexpr std::array rows{
    reads<get_mail_settings>(Opcode::mail_settings, Operation::get),
    changes<set_mail_settings>(Opcode::mail_settings, Operation::set),
    changes<clear_mail_settings>(Opcode::mail_settings, Operation::remove),
    pending(Opcode::mail_settings, Operation::get_pending),

    reads<get_next_address<AddressKind::email>>(Opcode::profile_email, Operation::get_next),
    changes<add_address<AddressKind::email>>(Opcode::profile_email, Operation::set),
    changes<remove_address<AddressKind::email>>(Opcode::profile_email, Operation::remove),
    pending(Opcode::profile_email, Operation::get_next_pending),

    reads<get_profile>(Opcode::destination_profile, Operation::get),
    reads<get_next_profile>(Opcode::destination_profile, Operation::get_next),
    changes<set_profile>(Opcode::destination_profile, Operation::set),
    changes<remove_profile>(Opcode::destination_profile, Operation::remove),
    pending(Opcode::destination_profile, Operation::get_pending),
    pending(Opcode::destination_profile, Operation::get_next_pending),

    reads<get_contact>(Opcode::contact_field, Operation::get),
    changes<set_contact>(Opcode::contact_field, Operation::set),
    changes<remove_contact>(Opcode::contact_field, Operation::remove),
    pending(Opcode::contact_field, Operation::get_pending),

    reads<get_feature>(Opcode::feature_state, Operation::get),
    changes<set_feature>(Opcode::feature_state, Operation::set),
    pending(Opcode::feature_state, Operation::get_pending),

    reads<get_duplicate_throttle>(Opcode::duplicate_throttle, Operation::get),
    changes<set_duplicate_throttle>(Opcode::duplicate_throttle, Operation::set),
    pending(Opcode::duplicate_throttle, Operation::get_pending),

    changes<send_message>(Opcode::send_message, Operation::set),

    reads<get_next_subscription>(Opcode::alert_group, Operation::get_next),
    changes<add_subscription>(Opcode::alert_group, Operation::set),
    changes<remove_subscription>(Opcode::alert_group, Operation::remove),
    pending(Opcode::alert_group, Operation::get_next_pending),

    reads<get_next_user_command>(Opcode::user_command, Operation::get_next),
    changes<add_user_command>(Opcode::user_command, Operation::set),
    changes<remove_user_command>(Opcode::user_command, Operation::remove),
    pending(Opcode::user_command, Operation::get_next_pending),

    reads<get_periodic_inventory>(Opcode::periodic_inventory, Operation::get),
    changes<set_periodic_inventory>(Opcode::periodic_inventory, Operation::set),
    pending(Opcode::periodic_inventory, Operation::get_pending),

    reads<get_privacy>(Opcode::data_privacy, Operation::get),
    changes<set_privacy>(Opcode::data_privacy, Operation::set),

    reads<get_traps>(Opcode::traps, Operation::get),
    changes<set_traps>(Opcode::traps, Operation::set),

    reads<get_next_address<AddressKind::url>>(Opcode::profile_url, Operation::get_next),
    changes<add_address<AddressKind::url>>(Opcode::profile_url, Operation::set),
    changes<remove_address<AddressKind::url>>(Opcode::profile_url, Operation::remove),
    pending(Opcode::profile_url, Operation::get_next_pending),

    reads<get_mail_server>(Opcode::mail_server, Operation::get),
    reads<get_next_mail_server>(Opcode::mail_server, Operation::get_next),
    changes<set_mail_server>(Opcode::mail_server, Operation::set),
    changes<remove_mail_server>(Opcode::mail_server, Operation::remove),
    pending(Opcode::mail_server, Operation::get_pending),
    pending(Opcode::mail_server, Operation::get_next_pending),

    reads<get_http_vrf>(Opcode::http_vrf, Operation::get),
    changes<set_http_vrf>(Opcode::http_vrf, Operation::set),
    changes<remove_http_vrf>(Opcode::http_vrf, Operation::remove),
    pending(Opcode::http_vrf, Operation::get_pending),

    reads<get_http_proxy>(Opcode::http_proxy, Operation::get),
    changes<set_http_proxy>(Opcode::http_proxy, Operation::set),
    changes<remove_http_proxy>(Opcode::http_proxy, Operation::remove),
    pending(Opcode::http_proxy, Operation::get_pending),

    reads<get_next_software>(Opcode::software_inventory, Operation::get_next),

    reads<get_next_message>(Opcode::message_log, Operation::get_next),
    reads<get_next_delivery>(Opcode::delivery_log, Operation::get_next),
    reads<get_message_text>(Opcode::message_text, Operation::get),
    changes<post_alert>(Opcode::post_alert, Operation::set),
};

// The receive buffer of a connection is made for this length.
static_assert(std::ranges::max(rows, {}, &RequestRow::record_size).record_size == longest_record);

const RequestRow* find_row(const protocol::FrameHeader& header) {
    const auto* row = std::ranges::find_if(rows, [&](const RequestRow& candidate) {
        return static_cast<std::uint32_t>(candidate.opcode) == header.opcode &&
               static_cast<std::uint32_t>(candidate.operation) == header.operation;
    });
    return row == rows.end() ? nullptr : row;
}

}  // namespace

std::span<const RequestRow> request_rows() {
    return rows;
}

std::size_t longest_request(std::uint32_t opcode) {
    const protocol::Exchange* exchange = protocol::find_exchange(opcode);
    return exchange == nullptr ? longest_record : exchange->request.size;
}

Outcome Dispatcher::handle(const protocol::FrameHeader& header, std::span<std::byte> body, Caller& caller,
                           Reply& reply) {
    const RequestRow* row = find_row(header);
    const protocol::Exchange* exchange = protocol::find_exchange(header.opcode);
    if (row == nullptr || exchange == nullptr) {
        spdlog::debug("opcode {} has no operation {}", +header.opcode, +header.operation);
        return Status::malformed_request;
    }
    if (const char* why = protocol::why_invalid(body, exchange->request)) {
        spdlog::debug("opcode {}, operation {}: {}", +header.opcode, +header.operation, why);
        return Status::malformed_request;
    }
    if (row->access == Access::change && !caller.may_change()) {
        return Status::permission_denied;
    }
    protocol::convert_byte_order(body, exchange->request);
    Call call{store_, store_.effective(), messages_, software_, caller, body, reply};
    try {
        const Outcome outcome = row->function(call);
        if (row->access == Access::change && outcome == Status::ok && changed_) {
            changed_();
        }
        return outcome;
    } catch (const SQLite::Exception& error) {
        spdlog::error("a change was not made because it could not be stored: {} (SQLite error {})",
                      error.what(), error.getExtendedErrorCode());
        reply.clear();
        return Status::storage_failed;
    }
}

}  // namespace callhome::service
