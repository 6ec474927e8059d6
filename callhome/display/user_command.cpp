#include <cstdio>
#include <cstring>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "display/generator.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "platform/interface.h"
#include "protocol/records/alert_group.h"

namespace callhome::library {
namespace {

using protocol::Opcode;
using protocol::Status;
using protocol::UserCommandRecord;

// More commands than any service keeps: a walk that is longer goes in circles.
constexpr int longest_walk = 1024;

// The end of the list, or why it was not reached.
std::int32_t end_list(ServiceStatus status) {
    if (ends_walk(status)) {
        cfgout_buf_printf("\n");
        return code(Status::ok);
    }
    if (status == code(Status::transport_failed)) {
        cfgout_buf_printf("%s", transport_error);
        return failed;
    }
    return status;
}

void write_command(const UserCommandRecord& command) {
    cfgout_buf_printf("alert-group %s user-def-cmd %s\n", FieldText(command.group).c_str(),
                      FieldText(command.command).c_str());
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

int32_t print_user_def_cmds(CommandContext* ctx) {
    cmd_type = class_exec;
    UserCommandRecord key{};
    for (int commands = 0; commands < longest_walk; ++commands) {
        Reply<UserCommandRecord> reply;
        const ServiceStatus status = reply.ask(Opcode::user_command, get_next_operation(), key, *ctx);
        if (status != code(Status::ok)) {
            return end_list(status);
        }
        if (reply.record() == nullptr) {
            return incomplete_for_generator(reply.length(), sizeof *reply.record());
        }
        write_command(*reply.record());
        key = *reply.record();
    }
    return endless_for_generator("user commands");
}

uint32_t callhome_show_user_def_cmds(CommandContext* ctx) {
    if (ctx->no_form != 0) {
        return refuse_no_form();
    }
    print_running_config = 1;
    std::puts("User configured commands for alert groups :");
    return static_cast<uint32_t>(print_user_def_cmds(ctx));
}
