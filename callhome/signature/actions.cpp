// Loading, downloading and removing signatures. The service does the work.
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

using protocol::DsActionRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::SignatureAction;
using protocol::Status;

void take_file(DsActionRecord& record, const TokenRecord& token) {
    if (token.keyword_id == keyword_signature_file) {
        bounded_copy(record.file_name, text_value(token), sizeof record.file_name - 1);
    }
}

void take_signature(DsActionRecord& record, const TokenRecord& token) {
    if (token.keyword_id == keyword_signature_id) {
        set_number(record, &DsActionRecord::ds_id, token);
    } else if (token.keyword_id == keyword_all_signatures) {
        record.ds_id = protocol::all_signatures;
    }
}

using TakeToken = void (*)(DsActionRecord&, const TokenRecord&);

std::uint32_t act(SignatureAction action, TakeToken take_token, CommandContext& ctx) {
    if (is_refused(ctx)) {
        return failed;
    }
    cmd_type = class_exec;
    DsActionRecord record{};
    record.action = static_cast<std::uint32_t>(action);
    for (const TokenRecord& token : Tokens(ctx)) {
        take_token(record, token);
    }
    Reply<DsActionRecord> reply;
    const ServiceStatus status = reply.ask(Opcode::signature_action, Operation::set, record, ctx);
    const DsActionRecord* outcome = reply.record();
    if (status != code(Status::ok) || outcome == nullptr) {
        return report_failed_exchange();
    }
    // The command has been carried out also when the service had a reason to change nothing.
    report_result(outcome->status);
    return done;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t ch_exec_gch_ds_load_file(CommandContext* ctx) {
    return act(SignatureAction::load_file, take_file, *ctx);
}

uint32_t ch_exec_gch_ds_download(CommandContext* ctx) {
    return act(SignatureAction::download, take_signature, *ctx);
}

uint32_t ch_exec_gch_ds_deinstall(CommandContext* ctx) {
    return act(SignatureAction::deinstall, take_signature, *ctx);
}
