#include "session_displays.h"

#include "built_ins.h"
#include "columns.h"
#include "platform/reference.h"

namespace callhome::shell {

namespace {

using platform::SessionState;
using enum platform::ValueType;

constexpr std::uint32_t done = 0;
constexpr std::uint32_t failed = 1;
constexpr ServiceStatus no_distribution_session = 0x403B0032;

constexpr Column<SessionState> action_facts[] = {
    {"action", "action", text, cell_of<SessionState, &SessionState::last_action>},
    {"result", "result", text, cell_of<SessionState, &SessionState::last_result>},
    {"cause", "cause", text, cell_of<SessionState, &SessionState::last_cause>},
    {"time", "at", time, time_of<SessionState, &SessionState::last_at>},
    {"user", "user", text, cell_of<SessionState, &SessionState::last_user>},
};

constexpr std::string_view is_open_place = "is_open";
constexpr Column<SessionState> session_facts[] = {
    {"owner", "owner", text, cell_of<SessionState, &SessionState::owner>},
    {"open since", "opened_at", time, time_of<SessionState, &SessionState::opened_at>},
};

}  // namespace

std::uint32_t show_last_action(Session&, const ParsedCommand&) {
    SessionState state;
    if (!succeeded(platform::read_session(state))) {
        return failed;
    }
    show_facts<SessionState>(action_facts, state);
    return done;
}

std::uint32_t show_distribution_session(Session&, const ParsedCommand&) {
    SessionState state;
    if (!succeeded(platform::read_session(state))) {
        return failed;
    }
    platform::set_value(is_open_place, state.is_open);
    if (state.is_open) {
        show_facts<SessionState>(session_facts, state);
    } else if (!platform::is_output_structured()) {
        std::puts(sys_err_to_str(no_distribution_session));
    }
    return done;
}

platform::Members session_document(std::string_view name) {
    platform::Members members;
    if (name == "last_action") {
        add_facts<SessionState>(members, action_facts);
    } else if (name == "session") {
        members.push_back({is_open_place, boolean});
        add_facts<SessionState>(members, session_facts);
    }
    return members;
}

}  // namespace callhome::shell
