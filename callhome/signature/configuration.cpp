// The settings of signatures: environment variables, the profile that carries them, and whether they are
// active.
#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/tokens.h"
#include "protocol/records/signature.h"
#include "signature/request.h"
#include "signature/text.h"

namespace callhome::library {
namespace {

using protocol::DsActiveRecord;
using protocol::DsEnvironmentRecord;
using protocol::DsProfileRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

void take_token(DsEnvironmentRecord& record, const TokenRecord& token) {
    if (token.keyword_id == keyword_variable_name) {
        bounded_copy(record.name, text_value(token), sizeof record.name - 1);
    } else if (token.keyword_id == keyword_variable_value) {
        bounded_copy(record.value, text_value(token), sizeof record.value - 1);
    }
}

void take_token(DsProfileRecord& record, const TokenRecord& token) {
    if (token.keyword_id == keyword_signature_profile) {
        bounded_copy(record.profile_name, text_value(token), sizeof record.profile_name - 1);
    }
}

// Sets what the tokens name, or removes it in the "no" form.
template <typename Record>
std::uint32_t configure(Opcode opcode, CommandContext& ctx) {
    if (!is_on_active_sup(ctx)) {
        return failed;
    }
    cmd_type = class_configuration;
    Record record{};
    for (const TokenRecord& token : Tokens(ctx)) {
        take_token(record, token);
    }
    Reply<Record> reply;
    const Operation operation = ctx.no_form == 0 ? Operation::set : Operation::remove;
    const ServiceStatus status = reply.ask(opcode, operation, record, ctx);
    const Record* outcome = reply.record();
    if (status != code(Status::ok) || outcome == nullptr) {
        return report_failed_exchange();
    }
    report_result(outcome->status);
    return done;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t ch_config_gch_ds_environment(CommandContext* ctx) {
    return configure<DsEnvironmentRecord>(Opcode::signature_environment, *ctx);
}

uint32_t ch_config_gch_ds_profile(CommandContext* ctx) {
    return configure<DsProfileRecord>(Opcode::signature_profile, *ctx);
}

uint32_t ch_config_gch_ds_active(CommandContext* ctx) {
    cmd_type = class_configuration;
    if (!is_on_active_sup(*ctx)) {
        return failed;
    }
    DsActiveRecord record{};
    record.active = ctx->no_form == 0 ? 1 : 0;
    const ServiceStatus status = send_record(Opcode::signatures_active, Operation::set, record, *ctx);
    return status == code(Status::ok) ? done : report_failed_exchange();
}
