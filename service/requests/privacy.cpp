#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::PrivacyItem;
using protocol::Status;

constexpr std::uint32_t yes = 1;

}  // namespace

Outcome get_privacy(Call& call, const protocol::PrivacyRecord& /*record*/) {
    const Privacy& privacy = call.configuration().privacy;
    const unsigned flags = (privacy.high ? protocol::privacy_high : 0U) |
                           (privacy.host_name ? protocol::privacy_host_name : 0U);
    protocol::PrivacyReply answer{};
    // The most significant byte stands first; the flags are in the last.
    answer.flags[sizeof(answer.flags) - 1] = static_cast<std::uint8_t>(flags);
    call.reply.set_record(answer);
    return Status::ok;
}

// One of the two levels is always in force: taking either back leaves the normal one.
Outcome set_privacy(Call& call, const protocol::PrivacyRecord& record) {
    if (record.remove > yes) {
        return Status::malformed_request;
    }
    Privacy privacy = call.configuration().privacy;
    switch (static_cast<PrivacyItem>(record.item)) {
        case PrivacyItem::host_name:
            privacy.host_name = record.remove != yes;
            break;
        case PrivacyItem::level_normal:
            privacy.high = false;
            break;
        case PrivacyItem::level_high:
            privacy.high = record.remove != yes;
            break;
        default:
            return Status::malformed_request;
    }
    call.store.set_privacy(privacy);
    return Status::ok;
}

}  // namespace callhome::service
