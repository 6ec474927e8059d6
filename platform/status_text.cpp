#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "clean_text.h"
#include "platform/interface.h"
#include "platform/reference.h"
#include "protocol/status.h"

namespace callhome::platform {
namespace {

using protocol::Status;

constexpr std::size_t longest_text = 256;
std::array<char, longest_text> composed;  // the text handed out last, when it is not a constant one

// Who it is that holds the session; nothing when the service cannot say.
const char* session_owner_text() {
    SessionState state;
    if (read_session(state) != 0 || !state.is_open || state.owner.empty()) {
        return nullptr;
    }
    std::snprintf(
        composed.data(), composed.size(),
        "The distribution session is locked by %s since %s; wait until it is committed, or drop it "
        "with \"clear callhome session\"",
        without_controls(state.owner).c_str(), local_time_text(state.opened_at).c_str());
    return composed.data();
}

const char* text_for(std::int32_t code) {
    const auto status = static_cast<Status>(code);
    if (status == Status::session_locked) {
        if (const char* text = session_owner_text()) {
            return text;
        }
    }
    if (const char* text = protocol::text_of(status)) {
        return text;
    }
    if (const char* text = ::strerrordesc_np(code)) {
        return text;
    }
    std::snprintf(composed.data(), composed.size(), "Unknown error 0x%08X", static_cast<unsigned>(code));
    return composed.data();
}

}  // namespace
}  // namespace callhome::platform

extern "C" const char* sys_err_to_str(int32_t code) {
    try {
        return callhome::platform::text_for(code);
    } catch (...) {
        return "Out of memory";
    }
}
