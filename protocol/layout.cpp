#include "protocol/layout.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "protocol/records/contact.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/feature.h"
#include "protocol/records/mail.h"
#include "protocol/records/message.h"

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
    same_both_ways<SwitchRecord>(Opcode::traps),
    same_both_ways<AddressRecord>(Opcode::profile_url),
    same_both_ways<MailServerRecord>(Opcode::mail_server),
    same_both_ways<MessageLogRecord>(Opcode::message_log),
    same_both_ways<DeliveryLogRecord>(Opcode::delivery_log),
    Exchange{Opcode::message_text, layout_of<MessageKeyRecord>(), text_reply},
    Exchange{Opcode::post_alert, layout_of<AlertRecord>(), text_reply},
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

const char* why_invalid(std::span<const std::byte> record, const Layout& layout) {
    if (record.size() != layout.size) {
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
