#include "messages/user_commands.h"

#include <algorithm>

#include "protocol/alert_group.h"

namespace callhome::service {

std::vector<std::string> user_commands_of(const SharedConfiguration& configuration,
                                          std::string_view group) {
    std::vector<std::string> commands;
    for (const UserCommand& entry : configuration.user_commands) {
        const bool concerns_it = entry.group == group || entry.group == protocol::every_alert_group;
        if (concerns_it && std::ranges::find(commands, entry.command) == commands.end()) {
            commands.push_back(entry.command);
        }
    }
    return commands;
}

std::vector<std::string> user_commands_for(const SharedConfiguration& configuration, std::string_view group,
                                           const std::vector<Taker>& takers) {
    const bool has_readers =
        std::ranges::any_of(takers, [](const Taker& taker) { return takes_user_commands(*taker.profile); });
    return has_readers ? user_commands_of(configuration, group) : std::vector<std::string>{};
}

bool takes_user_commands(const Profile& profile) {
    return std::ranges::find(profile.alert_groups, protocol::tac_alert_group, &AlertGroup::name) ==
           profile.alert_groups.end();
}

}  // namespace callhome::service
