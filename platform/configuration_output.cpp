#include <cstdarg>
#include <cstdio>

#include "platform/interface.h"

namespace {

int commands = 0;  // written since the output was opened

}  // namespace

extern "C" void cfgout_cmd_init(CommandContext* /*request*/) {
    commands = 0;
}

extern "C" int cfgout_start_stop_get() {
    return 0;
}

extern "C" int cfgout_cmd_count_get() {
    return commands;
}

extern "C" void cfgout_cmd_punch() {}

extern "C" int cfgout_buf_printf(const char* format, ...) {
    ++commands;
    std::va_list arguments;
    va_start(arguments, format);
    const int written = std::vprintf(format, arguments);
    va_end(arguments);
    return written;
}
