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
constexpr RequestRow row_of(Opcode opcode, Operation operation, Access access, Scope scope,
                            Outcome (*)(Call&, const Record&)) {
    return {opcode, operation, access, scope, sizeof(Record), call_with_record<function, Record>};
}

template <auto function>
constexpr RequestRow reads(Opcode opcode, Operation operation) {
    return row_of<function>(opcode, operation, Access::read, Scope::effective, function);
}

// The pending copy; of what is not distributed, the effective value.
template <auto function>
constexpr RequestRow reads_pending(Opcode opcode, Operation operation) {
    return row_of<function>(opcode, operation, Access::read, Scope::pending, function);
}

// What belongs to this switch alone.
template <auto function>
constexpr RequestRow changes(Opcode opcode, Operation operation) {
    return row_of<function>(opcode, operation, Access::change, Scope::effective, function);
}

template <auto function>
constexpr RequestRow changes_shared(Opcode opcode, Operation operation) {
    return row_of<function>(opcode, operation, Access::change, Scope::shared_change, function);
}

template <auto function>
constexpr RequestRow changes_while_not_distributed(Opcode opcode, Operation operation) {
    return row_of<function>(opcode, operation, Access::change, Scope::while_not_distributed, function);
}

constexpr std::array rows{
    reads<get_mail_settings>(Opcode::mail_settings, Operation::get),
    changes_shared<set_mail_settings>(Opcode::mail_settings, Operation::set),
    changes_shared<clear_mail_settings>(Opcode::mail_settings, Operation::remove),
    reads_pending<get_mail_settings>(Opcode::mail_settings, Operation::get_pending),

    reads<get_next_address<AddressKind::email>>(Opcode::profile_email, Operation::get_next),
    changes_shared<add_address<AddressKind::email>>(Opcode::profile_email, Operation::set),
    changes_shared<remove_address<AddressKind::email>>(Opcode::profile_email, Operation::remove),
    reads_pending<get_next_address<AddressKind::email>>(Opcode::profile_email, Operation::get_next_pending),

    reads<get_profile>(Opcode::destination_profile, Operation::get),
    reads<get_next_profile>(Opcode::destination_profile, Operation::get_next),
    changes_shared<set_profile>(Opcode::destination_profile, Operation::set),
    changes_shared<remove_profile>(Opcode::destination_profile, Operation::remove),
    reads_pending<get_profile>(Opcode::destination_profile, Operation::get_pending),
    reads_pending<get_next_profile>(Opcode::destination_profile, Operation::get_next_pending),

    reads<get_contact>(Opcode::contact_field, Operation::get),
    changes_while_not_distributed<set_contact>(Opcode::contact_field, Operation::set),
    changes_while_not_distributed<remove_contact>(Opcode::contact_field, Operation::remove),
    reads_pending<get_contact>(Opcode::contact_field, Operation::get_pending),

    reads<get_feature>(Opcode::feature_state, Operation::get),
    changes<set_feature>(Opcode::feature_state, Operation::set),
    reads_pending<get_feature>(Opcode::feature_state, Operation::get_pending),

    reads<get_duplicate_throttle>(Opcode::duplicate_throttle, Operation::get),
    changes<set_duplicate_throttle>(Opcode::duplicate_throttle, Operation::set),
    reads_pending<get_duplicate_throttle>(Opcode::duplicate_throttle, Operation::get_pending),

    changes<send_message>(Opcode::send_message, Operation::set),

    reads<get_next_subscription>(Opcode::alert_group, Operation::get_next),
    changes_shared<add_subscription>(Opcode::alert_group, Operation::set),
    changes_shared<remove_subscription>(Opcode::alert_group, Operation::remove),
    reads_pending<get_next_subscription>(Opcode::alert_group, Operation::get_next_pending),

    reads<get_next_user_command>(Opcode::user_command, Operation::get_next),
    changes_shared<add_user_command>(Opcode::user_command, Operation::set),
    changes_shared<remove_user_command>(Opcode::user_command, Operation::remove),
    reads_pending<get_next_user_command>(Opcode::user_command, Operation::get_next_pending),

    reads<get_periodic_inventory>(Opcode::periodic_inventory, Operation::get),
    changes_shared<set_periodic_inventory>(Opcode::periodic_inventory, Operation::set),
    reads_pending<get_periodic_inventory>(Opcode::periodic_inventory, Operation::get_pending),

    reads<get_distribution>(Opcode::distribution, Operation::get),
    changes<set_distribution>(Opcode::distribution, Operation::set),
    reads_pending<get_distribution>(Opcode::distribution, Operation::get_pending),

    reads<get_commit_result>(Opcode::commit, Operation::get),
    changes<end_session>(Opcode::commit, Operation::set),
    changes<clear_session>(Opcode::clear_session, Operation::set),
    reads<get_session_state>(Opcode::session_state, Operation::get),

    reads<get_privacy>(Opcode::data_privacy, Operation::get),
    changes<set_privacy>(Opcode::data_privacy, Operation::set),

    reads<get_traps>(Opcode::traps, Operation::get),
    changes<set_traps>(Opcode::traps, Operation::set),

    reads<get_next_address<AddressKind::url>>(Opcode::profile_url, Operation::get_next),
    changes_shared<add_address<AddressKind::url>>(Opcode::profile_url, Operation::set),
    changes_shared<remove_address<AddressKind::url>>(Opcode::profile_url, Operation::remove),
    reads_pending<get_next_address<AddressKind::url>>(Opcode::profile_url, Operation::get_next_pending),

    reads<get_mail_server>(Opcode::mail_server, Operation::get),
    reads<get_next_mail_server>(Opcode::mail_server, Operation::get_next),
    changes_shared<set_mail_server>(Opcode::mail_server, Operation::set),
    changes_shared<remove_mail_server>(Opcode::mail_server, Operation::remove),
    reads_pending<get_mail_server>(Opcode::mail_server, Operation::get_pending),
    reads_pending<get_next_mail_server>(Opcode::mail_server, Operation::get_next_pending),

    reads<get_http_vrf>(Opcode::http_vrf, Operation::get),
    changes_shared<set_http_vrf>(Opcode::http_vrf, Operation::set),
    changes_shared<remove_http_vrf>(Opcode::http_vrf, Operation::remove),
    reads_pending<get_http_vrf>(Opcode::http_vrf, Operation::get_pending),

    reads<get_http_proxy>(Opcode::http_proxy, Operation::get),
    changes_shared<set_http_proxy>(Opcode::http_proxy, Operation::set),
    changes_shared<remove_http_proxy>(Opcode::http_proxy, Operation::remove),
    reads_pending<get_http_proxy>(Opcode::http_proxy, Operation::get_pending),

    reads<get_next_software>(Opcode::software_inventory, Operation::get_next),

    changes<act_on_signatures>(Opcode::signature_action, Operation::set),
    changes<set_signatures_active>(Opcode::signatures_active, Operation::set),
    changes<set_signature_profile>(Opcode::signature_profile, Operation::set),
    changes<remove_signature_profile>(Opcode::signature_profile, Operation::remove),
    changes<set_signature_variable>(Opcode::signature_environment, Operation::set),
    changes<remove_signature_variable>(Opcode::signature_environment, Operation::remove),
    changes<clear_signature_statistics>(Opcode::signature_statistics, Operation::set),
    reads<get_signature_view>(Opcode::signature_view, Operation::get),

    reads<get_service_info>(Opcode::service_info, Operation::get),
    // Its operation is to get, and yet it changes something.
    changes<clear_message_statistics>(Opcode::message_statistics, Operation::get),

    reads<get_next_message>(Opcode::message_log, Operation::get_next),
    reads<get_next_delivery>(Opcode::delivery_log, Operation::get_next),
    reads<get_message_text>(Opcode::message_text, Operation::get),
    changes<post_alert>(Opcode::post_alert, Operation::set),

    reads<get_trace_buffer>(Opcode::trace_buffer, Operation::get),
    reads<get_memory_statistics>(Opcode::memory_statistics, Operation::get),

    reads<get_queue_state>(Opcode::queue_state, Operation::get),
    reads<get_profile_statistics>(Opcode::profile_statistics, Operation::get),
    changes<clear_queue>(Opcode::clear_queue, Operation::set),
    changes<resend_message>(Opcode::resend_message, Operation::set),
    reads<get_message_tail>(Opcode::message_tail, Operation::get),
    // Changes nothing, but has the operator's commands run.
    changes<preview_message>(Opcode::message_preview, Operation::get),
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
    return exchange == nullptr ? longest_record : exchange->request.size + exchange->behind_request;
}

Outcome Dispatcher::handle(const protocol::FrameHeader& header, std::span<std::byte> body, Caller& caller,
                           Reply& reply) {
    const RequestRow* row = find_row(header);
    const protocol::Exchange* exchange = protocol::find_exchange(header.opcode);
    if (row == nullptr || exchange == nullptr) {
        spdlog::debug("opcode {} has no operation {}", +header.opcode, +header.operation);
        return Status::malformed_request;
    }
    if (const char* why = protocol::why_invalid(body, exchange->request, exchange->behind_request)) {
        spdlog::debug("opcode {}, operation {}: {}", +header.opcode, +header.operation, why);
        return Status::malformed_request;
    }
    if (row->access == Access::change && !caller.may_change()) {
        return Status::permission_denied;
    }
    protocol::convert_byte_order(body, exchange->request);
    try {
        const Outcome outcome = call_in_scope(*row, body, caller, reply);
        if (row->access == Access::change && outcome == Status::ok && changed_) {
            changed_();
        }
        return outcome;
    } catch (const SQLite::Exception& error) {
        facts_.database.health().failed(error);
        reply.clear();
        if (row->access == Access::read) {
            spdlog::error(
                "a request was not answered because the database could not be read: {} (SQLite error {})",
                error.what(), error.getExtendedErrorCode());
            return Status::storage_unreadable;
        }
        spdlog::error("a change was not made because it could not be stored: {} (SQLite error {})",
                      error.what(), error.getExtendedErrorCode());
        return Status::storage_failed;
    }
}

Outcome Dispatcher::call_in_scope(const RequestRow& row, std::span<const std::byte> record, Caller& caller,
                                  Reply& reply) {
    const auto call_with = [&](ConfigurationCopy& copy) {
        Call call{store_, copy, messages_, software_, session_, signatures_, facts_, caller, record, reply};
        return row.function(call);
    };
    switch (row.scope) {
        case Scope::pending: {
            const Status why_not = session_.why_no_pending_copy();
            return why_not == Status::ok ? call_with(store_.pending()) : why_not;
        }
        case Scope::shared_change:
            // None of these takes its time: there is a status at once.
            return session_.change(caller,
                                   [&](ConfigurationCopy& copy) { return call_with(copy).value(); });
        case Scope::while_not_distributed:
            if (store_.configuration().distribution) {
                return Status::distribution_on;
            }
            break;
        case Scope::effective:
            break;
    }
    return call_with(store_.effective());
}

}  // namespace callhome::service
