// The categories of events that destination profiles subscribe to.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace callhome::protocol {

// As they are sent and stored; the mixed case is part of the names.
inline constexpr std::array<std::string_view, 17> alert_group_names{
    "system",
    "environmental",
    "linecard-hardware",
    "supervisor-hardware",
    "inventory",
    "test",
    "all",
    "ZUVA-TAC",
    "license",
    "syslog-group-port",
    "configuration",
    "Diagnostic",
    "OBX",
    "RMON",
    "life-cycle",
    "pelago",
    "crash",
};

inline constexpr std::string_view every_alert_group = "all";
inline constexpr std::string_view tac_alert_group = "ZUVA-TAC";

inline constexpr bool is_alert_group(std::string_view name) {
    return std::ranges::find(alert_group_names, name) != alert_group_names.end();
}

}  // namespace callhome::protocol
