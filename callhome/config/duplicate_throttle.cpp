#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/tokens.h"
#include "protocol/records/feature.h"

using namespace callhome::library;
using callhome::protocol::Opcode;
using callhome::protocol::Operation;
using callhome::protocol::SwitchRecord;

uint32_t callhome_dup_msg_throttle(CommandContext* ctx) {
    cmd_type = class_configuration;
    SwitchRecord record{};
    for (const TokenRecord& token : Tokens(*ctx)) {
        if (token.keyword_id == keyword_duplicate_throttle) {
            record.enabled = ctx->no_form == 0 ? 1 : 0;
        }
    }
    return report(send_record(Opcode::duplicate_throttle, Operation::set, record, *ctx));
}
