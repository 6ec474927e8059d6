#include "signature/request.h"

#include <cstdio>

#include "callhome/handlers.h"
#include "frame/outcome.h"

namespace callhome::library {

bool is_on_active_sup(const CommandContext& ctx) {
    if (ctx.active_sup != active) {
        std::fputs(command_on_active_sup_only, stderr);
    }
    return ctx.active_sup == active;
}

bool is_refused(const CommandContext& ctx) {
    if (!is_on_active_sup(ctx)) {
        return true;
    }
    return ctx.no_form != 0 && refuse_no_form() == failed;
}

void report_result(std::uint32_t result) {
    if (result != 0) {
        std::fprintf(stderr, "%s\n", ch_get_error_string(result));
    }
}

}  // namespace callhome::library
