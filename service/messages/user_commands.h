// The commands that an operator has named for alert groups: their output goes with the groups' messages.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "messages/profile_selection.h"
#include "store/configuration.h"

namespace callhome::service {

// In the order of adding, each once; those of the group "all" go with the messages of every group.
std::vector<std::string> user_commands_of(const SharedConfiguration& configuration, std::string_view group);

// The same, where one of the takers takes their output at all.
std::vector<std::string> user_commands_for(const SharedConfiguration& configuration, std::string_view group,
                                           const std::vector<Taker>& takers);

// What ZUVA-TAC receives holds no output that an operator has chosen.
bool takes_user_commands(const Profile& profile);

}  // namespace callhome::service
