#include <cstdio>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "frame/tokens.h"
#include "protocol/alert_group.h"
#include "protocol/records/alert_group.h"

namespace callhome::library {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::Status;
using protocol::UserCommandRecord;

constexpr int most_commands = 5;                    // of one group; the service holds to it
constexpr std::uint32_t user_command_reserved = 1;  // UserCommandRecord::reserved

// A keyword that names no group leaves the field as it is; the service answers an empty name.
void take_group(UserCommandRecord& record, const TokenRecord& token) {
    for (const AlertGroupRow& row : alert_group_list) {
        if (token.keyword_id == row.keyword_id) {
            copy_text(record.group, FieldText(row.name).c_str());
            return;
        }
    }
}

void explain_limit() {
    std::printf("only a maximum of %d commands can be configured for an alert group\n", most_commands);
}

void explain_conflict() {
    std::puts("the command cannot be configured since ");
    std::printf("the alert group %s has been configured\n", protocol::tac_alert_group.data());
    std::puts("for a dest profile which has also been configured with this alert group");
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_process_user_def_cmds(CommandContext* ctx) {
    cmd_type = class_configuration;
    UserCommandRecord record{};
    record.reserved = user_command_reserved;
    for (const TokenRecord& token : Tokens(*ctx)) {
        if (token.keyword_id == keyword_user_command) {
            copy_text(record.command, text_value(token));
        } else {
            take_group(record, token);
        }
    }
    const Operation operation = ctx->no_form == 0 ? Operation::set : Operation::remove;
    const ServiceStatus status = send_record(Opcode::user_command, operation, record, *ctx);
    const std::uint32_t result = report(status);
    if (status == code(Status::too_many_user_commands)) {
        explain_limit();
        return done;  // a configuration script goes on, here and below
    }
    if (status == code(Status::conflicts_with_tac_group)) {
        explain_conflict();
        return done;
    }
    return result;
}
