#include <cerrno>
#include <cstdlib>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "platform/interface.h"

namespace {

constexpr uint32_t no_flags = 0;
constexpr uint32_t timeout_seconds = 60;

}  // namespace

ServiceStatus callhome_cmi(uint32_t opcode, uint32_t operation, void* request, void** reply_slot,
                           uint32_t* length_slot, CommandContext* ctx) {
    ch_msg_byteorder_convert(opcode, request);
    const ServiceStatus status =
        svc_request_response(opcode, operation, request, reply_slot, length_slot, &ctx->link_block_1,
                             &ctx->link_block_2, no_flags, ctx->transport_handle, timeout_seconds);
    if (status < 0) {
        // Nothing can be said of the state of the service, so no handler goes on.
        shell_print_mts_error(cmd_type, errno);
        std::exit(EXIT_FAILURE);
    }
    if (status == 0 && reply_slot != nullptr && *reply_slot != nullptr) {
        ch_msg_byteorder_convert(opcode, *reply_slot);
    }
    return status;
}
