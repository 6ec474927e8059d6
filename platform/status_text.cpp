#include <array>
#include <cstdio>
#include <cstring>

#include "platform/interface.h"
#include "protocol/status.h"

extern "C" const char* sys_err_to_str(int32_t code) {
    namespace protocol = callhome::protocol;
    if (const char* text = protocol::text_of(static_cast<protocol::Status>(code))) {
        return text;
    }
    if (const char* text = ::strerrordesc_np(code)) {
        return text;
    }
    static std::array<char, sizeof "Unknown error 0x00000000"> unknown;
    std::snprintf(unknown.data(), unknown.size(), "Unknown error 0x%08X", static_cast<unsigned>(code));
    return unknown.data();
}
