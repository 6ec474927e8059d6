#include <array>
#include <cstdio>

#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/tokens.h"
#include "platform/interface.h"

namespace callhome::library {
namespace {

constexpr const char* error_buffer = "callhome_error_trace_buffer";
constexpr const char* whole_buffer = "callhome";
constexpr int first_line = 1;
constexpr int whole = 1;

// Goes on from one display to the next.
int line_number = 1;

// What a dump of the service's memory is asked for with; the numbers are the platform's.
constexpr std::uint32_t memory_destination = 0xFE000000;
constexpr std::uint32_t memory_opcode = 66;
constexpr const char* memory_function = "mtrack_dump_memstats";
constexpr std::uint32_t memory_third_word = 5;
constexpr std::uint32_t memory_fourth_word = 0xFFFFFFFF;
static_assert(sizeof(MemoryDumpRequest) == 16);

bool wants_detail(const CommandContext& ctx) {
    for (const TokenRecord& token : Tokens(ctx)) {
        if (token.keyword_id == keyword_memory_detail) {
            return true;
        }
    }
    return false;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_show_trace(void) {
    tracebuf_get_by_line(error_buffer, first_line, callhome_trace_dumper, nullptr);
    return done;
}

void* callhome_trace_dumper(const char* line, void* arg) {
    if (line == nullptr) {
        return nullptr;
    }
    std::printf("%d) %s\n\n", line_number, line);
    ++line_number;
    return arg;
}

uint32_t ch_show_gch_trace(void) {
    tracebuf_dump_console(whole_buffer, whole);
    return done;
}

uint32_t callhome_show_memstats(CommandContext* ctx) {
    if (ctx->skip_exec != 0) {
        return done;
    }
    if (ctx->no_form != 0) {
        return refuse_no_form();
    }
    MemoryDumpRequest request{.fixed_1 = 0,
                              .detail = wants_detail(*ctx) ? 1U : 0U,
                              .fixed_3 = memory_third_word,
                              .fixed_4 = memory_fourth_word};
    debug_trace_dump(ctx->transport_handle, memory_destination, memory_opcode, &request, sizeof request,
                     memory_function);
    return done;
}
