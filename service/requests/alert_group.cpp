#include "protocol/alert_group.h"

#include <algorithm>

#include "requests/checks.h"
#include "requests/fields.h"
#include "requests/functions.h"
#include "requests/walk.h"

namespace callhome::service {
namespace {

using protocol::Status;

constexpr std::string_view tac_profile = "ZUVA-profile";
constexpr std::ptrdiff_t most_user_commands = 5;  // of a group
constexpr std::uint32_t reserved_word = 1;

bool is_subscribed(const Profile& profile, std::string_view group) {
    return std::ranges::find(profile.alert_groups, group, &AlertGroup::name) != profile.alert_groups.end();
}

bool has_user_commands(const SharedConfiguration& configuration, std::string_view group) {
    return std::ranges::find(configuration.user_commands, group, &UserCommand::group) !=
           configuration.user_commands.end();
}

bool has_user_command(const SharedConfiguration& configuration, std::string_view group,
                      std::string_view command) {
    return std::ranges::any_of(configuration.user_commands, [&](const UserCommand& entry) {
        return entry.group == group && entry.command == command;
    });
}

// What ZUVA-TAC receives holds no output that an operator has chosen: a profile that subscribes to it has
// no group with user commands.
bool subscription_conflicts(const SharedConfiguration& configuration, const Profile& profile,
                            std::string_view group) {
    if (group == protocol::tac_alert_group) {
        return has_user_commands(configuration, group) ||
               std::ranges::any_of(profile.alert_groups, [&](const AlertGroup& entry) {
                   return has_user_commands(configuration, entry.name);
               });
    }
    return is_subscribed(profile, protocol::tac_alert_group) && has_user_commands(configuration, group);
}

bool user_command_conflicts(const SharedConfiguration& configuration, std::string_view group) {
    return std::ranges::any_of(configuration.profiles, [&](const Profile& profile) {
        return is_subscribed(profile, protocol::tac_alert_group) && is_subscribed(profile, group);
    });
}

Outcome answer_subscription(Call& call, const Profile& profile, const AlertGroup& entry) {
    protocol::SubscriptionRecord answer{};
    write_text(answer.name, profile.name);
    answer.index = entry.index;
    answer.reserved = reserved_word;
    write_text(answer.group, entry.name);
    call.reply.set_record(answer);
    return Status::ok;
}

}  // namespace

Outcome get_next_subscription(Call& call, const protocol::SubscriptionRecord& record) {
    return answer_next(call, read_text(record.name), record.index, &Profile::alert_groups,
                       answer_subscription);
}

Outcome add_subscription(Call& call, const protocol::SubscriptionRecord& record) {
    const std::string name = read_text(record.name);
    const std::string group = read_text(record.group);
    if (!protocol::is_alert_group(group)) {
        return Status::malformed_request;
    }
    const Profile* profile = call.copy.find_profile(name);
    if (profile == nullptr) {
        return Status::not_found;
    }
    if (name == tac_profile && group != protocol::tac_alert_group) {
        return Status::built_in_profile;
    }
    if (is_subscribed(*profile, group)) {
        return Status::already_exists;
    }
    if (subscription_conflicts(call.shared(), *profile, group)) {
        return Status::conflicts_with_tac_group;
    }
    call.copy.add_alert_group(name, group);
    return Status::ok;
}

Outcome remove_subscription(Call& call, const protocol::SubscriptionRecord& record) {
    const std::string name = read_text(record.name);
    const std::string group = read_text(record.group);
    if (!protocol::is_alert_group(group)) {
        return Status::malformed_request;
    }
    const Profile* profile = call.copy.find_profile(name);
    if (profile == nullptr || !is_subscribed(*profile, group)) {
        return Status::not_found;
    }
    call.copy.remove_alert_group(name, group);
    return Status::ok;
}

Outcome get_next_user_command(Call& call, const protocol::UserCommandRecord& record) {
    const UserCommand* entry = entry_after(call.shared().user_commands, record.index);
    if (entry == nullptr) {
        return Status::no_further_entry;
    }
    protocol::UserCommandRecord answer{};
    answer.index = entry->index;
    write_text(answer.group, entry->group);
    answer.reserved = reserved_word;
    write_text(answer.command, entry->command);
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome add_user_command(Call& call, const protocol::UserCommandRecord& record) {
    const std::string group = read_text(record.group);
    const std::string command = read_text(record.command);
    const SharedConfiguration& configuration = call.shared();
    if (!protocol::is_alert_group(group)) {
        return Status::malformed_request;
    }
    if (!is_show_command(command) || has_user_command(configuration, group, command)) {
        return Status::user_command_refused;
    }
    if (user_command_conflicts(configuration, group)) {
        return Status::conflicts_with_tac_group;
    }
    if (std::ranges::count(configuration.user_commands, group, &UserCommand::group) >= most_user_commands) {
        return Status::too_many_user_commands;
    }
    call.copy.add_user_command(group, command);
    return Status::ok;
}

Outcome remove_user_command(Call& call, const protocol::UserCommandRecord& record) {
    const std::string group = read_text(record.group);
    const std::string command = read_text(record.command);
    if (!protocol::is_alert_group(group)) {
        return Status::malformed_request;
    }
    if (!has_user_command(call.shared(), group, command)) {
        return Status::not_found;
    }
    call.copy.remove_user_command(group, command);
    return Status::ok;
}

}  // namespace callhome::service
