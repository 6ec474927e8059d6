#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/outcome.h"
#include "frame/reply.h"

namespace callhome::library {
namespace {

// Entering the mode is the shell's business once this has returned 0.
std::uint32_t enter_mode(const CommandContext& ctx) {
    cmd_type = class_configuration;
    if (ctx.mode_bypass != 0 || ctx.no_form == 0) {
        return done;
    }
    return refuse_no_form();
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_mode(CommandContext* ctx) {
    return enter_mode(*ctx);
}

uint32_t ch_config_gch_ds_mode(CommandContext* ctx) {
    return enter_mode(*ctx);
}
