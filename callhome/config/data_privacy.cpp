#include <array>
#include <cstdio>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/tokens.h"
#include "protocol/records/privacy.h"

namespace callhome::library {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::PrivacyItem;
using protocol::PrivacyRecord;
using protocol::Status;

struct LevelKeyword {
    std::uint32_t keyword;
    PrivacyItem level;
};

constexpr std::array level_keywords{
    LevelKeyword{keyword_privacy_normal, PrivacyItem::level_normal},
    LevelKeyword{keyword_privacy_high, PrivacyItem::level_high},
};

// The level that the tokens name last; 0, which the service refuses, when they name none.
std::uint32_t level_of(const CommandContext& ctx) {
    std::uint32_t level = 0;
    for (const TokenRecord& token : Tokens(ctx)) {
        for (const LevelKeyword& row : level_keywords) {
            if (token.keyword_id == row.keyword) {
                level = static_cast<std::uint32_t>(row.level);
            }
        }
    }
    return level;
}

std::uint32_t change_privacy(std::uint32_t item, CommandContext& ctx) {
    if (ctx.active_sup != active) {
        std::fputs(command_on_active_sup_only, stderr);
        return failed;
    }
    cmd_type = class_configuration;
    PrivacyRecord record{.item = item, .remove = ctx.no_form == 0 ? 0U : 1U, .spare = 0};
    const ServiceStatus status = send_record(Opcode::data_privacy, Operation::set, record, ctx);
    return status == code(Status::ok) ? done : report_failed_exchange();
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t ch_config_data_privacy_level(CommandContext* ctx) {
    return change_privacy(level_of(*ctx), *ctx);
}

uint32_t ch_config_data_privacy_hostname(CommandContext* ctx) {
    return change_privacy(static_cast<uint32_t>(PrivacyItem::host_name), *ctx);
}
