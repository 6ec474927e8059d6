#include "protocol/layout.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "protocol/records/alert_group.h"
#include "protocol/records/contact.h"
#include "protocol/records/delivery.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/distribution.h"
#include "protocol/records/feature.h"
#include "protocol/records/http.h"
#include "protocol/records/inventory.h"
#include "protocol/records/mail.h"
#include "protocol/records/message.h"
#include "protocol/records/privacy.h"
#include "protocol/records/signature.h"
#include "protocol/records/trace.h"

namespace callhome::protocol {
namespace {

template <typename Record>
constexpr Exchange same_both_ways(Opcode opcode) {
    return {opcode, layout_of<Record>(), layout_of<Record>()};
}

constexpr std::array exchanges{
    same_both_ways<MailSettingsRecord>(Opcode::mail_settings),
    same_both_ways<AddressRecord>(Opcode::profile_email),
    same_both_ways<ProfileRecord>(Opcode::destination_profile),
    same_both_ways<ContactRecord>(Opcode::contact_field),
    same_both_ways<SwitchRecord>(Opcode::feature_state),
    same_both_ways<SendMessageRecord>(Opcode::send_message),
    same_both_ways<SubscriptionRecord>(Opcode::alert_group),
    Exchange{Opcode::software_inventory, layout_of<SoftwareRecord>(), layout_of<SoftwareRecord>(),
             software_pairs_size},
    same_both_ways<SwitchRecord>(Opcode::duplicate_throttle),
    same_both_ways<PeriodicInventoryRecord>(Opcode::periodic_inventory),
    same_both_ways<DistributionRecord>(Opcode::distribution),
    same_both_ways<CommitRecord>(Opcode::commit),
    same_both_ways<ClearSessionRecord>(Opcode::clear_session),
    same_both_ways<UserCommandRecord>(Opcode::user_command),
    same_both_ways<SwitchRecord>(Opcode::traps),
    same_both_ways<AddressRecord>(Opcode::profile_url),
    same_both_ways<MailServerRecord>(Opcode::mail_server),
    same_both_ways<HttpVrfRecord>(Opcode::http_vrf),
    same_both_ways<HttpProxyRecord>(Opcode::http_proxy),
    Exchange{Opcode::service_info, layout_of<ServiceInfoRequest>(), text_reply},
    Exchange{Opcode::signature_view, layout_of<DsShowRequest>(), text_reply},
    same_both_ways<MsgStatsClearRecord>(Opcode::message_statistics),
    same_both_ways<DsActiveRecord>(Opcode::signatures_active),
    same_both_ways<DsProfileRecord>(Opcode::signature_profile),
    same_both_ways<DsEnvironmentRecord>(Opcode::signature_environment),
    same_both_ways<DsStatsClearRecord>(Opcode::signature_statistics),
    Exchange{Opcode::signature_action, layout_of<DsActionRecord>(), layout_of<DsActionRecord>(),
             all_questions_size, all_questions_size},
    Exchange{Opcode::data_privacy, layout_of<PrivacyRecord>(), layout_of<PrivacyReply>()},
    same_both_ways<MessageLogRecord>(Opcode::message_log),
    same_both_ways<DeliveryLogRecord>(Opcode::delivery_log),
    Exchange{Opcode::message_text, layout_of<MessageKeyRecord>(), text_reply},
    Exchange{Opcode::post_alert, layout_of<AlertRecord>(), text_reply},
    same_both_ways<SessionRecord>(Opcode::session_state),
    Exchange{Opcode::trace_buffer, layout_of<TraceKeyRecord>(), text_reply},
    Exchange{Opcode::memory_statistics, layout_of<MemoryStatisticsRequest>(), text_reply},
    same_both_ways<QueueStateRecord>(Opcode::queue_state),
    same_both_ways<ProfileStatisticsRecord>(Opcode::profile_statistics),
    same_both_ways<ClearQueueRecord>(Opcode::clear_queue),
    same_both_ways<ResendRecord>(Opcode::resend_message),
    same_both_ways<MessageTailRecord>(Opcode::message_tail),
    Exchange{Opcode::message_preview, layout_of<PreviewRequestRecord>(), text_reply},
};

}  // namespace

const Exchange* find_exchange(std::uint32_t opcode) {
    const auto* found = std::ranges::find(exchanges, static_cast<Opcode>(opcode), &Exchange::opcode);
    return found == exchanges.end() ? nullptr : found;
}

void convert_byte_order(std::span<std::byte> record, const Layout& layout) {
    if constexpr (std::endian::native == std::endian::big) {
        return;
    }
    for (const Field& field : layout.fields) {
        const bool is_word = field.kind == FieldKind::number && field.size == sizeof(std::uint32_t);
        if (is_word && field.offset + field.size <= record.size()) {
            std::ranges::reverse(record.subspan(field.offset, field.size));
        }
    }
}

const char* why_invalid(std::span<const std::byte> record, const Layout& layout, std::size_t behind) {
    if (record.size() < layout.size || record.size() - layout.size > behind) {
        return "the record has another length than its opcode's";
    }
    for (const Field& field : layout.fields) {
        const auto content = record.subspan(field.offset, field.size);
        if (field.kind == FieldKind::text && std::ranges::find(content, std::byte{0}) == content.end()) {
            return "a text has no terminator";
        }
    }
    return nullptr;
}

}  // namespace callhome::protocol
