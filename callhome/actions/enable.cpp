#include <cstdio>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/tokens.h"
#include "protocol/records/feature.h"

namespace callhome::library {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::Status;
using protocol::SwitchRecord;

bool means_missing_configuration(ServiceStatus status) {
    return status == code(Status::configuration_missing) ||
           (status >= code(Status::no_system_contact) && status <= code(Status::no_mail_server));
}

void list_required_configuration() {
    std::puts("callhome can not be enabled on the switch,");
    std::puts("because necessary configuration has not been done");
    std::puts("Please check if all of following configuration is done ");
    for (int row = 0; row < callhome_info_table_size; ++row) {
        if (callhome_info_table[row].required != 0) {
            std::puts(callhome_info_table[row].description);
        }
    }
    std::puts("To configure sysContact, please use snmp-server command");
}

// The "no" form of the disabling keyword. It always comes with its keyword, so the count is not asked.
bool negates_disabling(const CommandContext& ctx) {
    return ctx.no_form != 0 && ctx.tokens[1] != nullptr && ctx.tokens[1]->keyword_id == keyword_disable;
}

std::uint32_t wanted_state(const CommandContext& ctx) {
    std::uint32_t enabled = 1;
    for (const TokenRecord& token : Tokens(ctx)) {
        if (token.keyword_id == keyword_enable) {
            enabled = ctx.no_form == 0 ? 1 : 0;
        } else if (token.keyword_id == keyword_disable) {
            enabled = 0;
        }
    }
    return enabled;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_enable(CommandContext* ctx) {
    cmd_type = class_configuration;
    if (negates_disabling(*ctx)) {
        return refuse_no_form();
    }
    SwitchRecord record{.enabled = wanted_state(*ctx), .trailing_flag = 0};
    const ServiceStatus status = send_record(Opcode::feature_state, Operation::set, record, *ctx);
    if (means_missing_configuration(status)) {
        callhome_print_error(status);
        list_required_configuration();
        return done;  // a configuration script that enables the feature goes on
    }
    return report(status);
}

uint32_t callhome_traps_enable(CommandContext* ctx) {
    cmd_type = class_configuration;
    SwitchRecord record{.enabled = ctx->no_form == 0 ? 1U : 0U, .trailing_flag = 0};
    const ServiceStatus status = send_record(Opcode::traps, Operation::set, record, *ctx);
    // Silent on purpose: scripts set the traps also where the service does not know them.
    return status == code(Status::ok) ? done : failed;
}
