#include "messages/profile_selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "protocol/alert_group.h"

namespace callhome::service {
namespace {

// A profile with one of these takes the messages of every group.
constexpr std::array groups_of_all{protocol::every_alert_group, protocol::tac_alert_group};

bool covers(std::string_view subscription, std::string_view group) {
    return subscription == group ||
           std::find(groups_of_all.begin(), groups_of_all.end(), subscription) != groups_of_all.end();
}

bool subscribes_to_group(const Profile& profile, const MessageType& type) {
    return std::any_of(profile.alert_groups.begin(), profile.alert_groups.end(),
                       [&](const AlertGroup& group) { return covers(group.name, type.alert_group); });
}

void add_taker(std::vector<Taker>& takers, const Profile& profile, Transport transport,
               const std::vector<ProfileAddress>& addresses) {
    if (addresses.empty()) {
        return;
    }
    Taker taker{&profile, transport, {}};
    for (const ProfileAddress& address : addresses) {
        taker.receivers.push_back(address.address);
    }
    takers.push_back(std::move(taker));
}

std::vector<Taker> ways_to(const Profile& profile) {
    std::vector<Taker> ways;
    if ((profile.transport_methods & protocol::transport_email) != 0U) {
        add_taker(ways, profile, Transport::email, profile.email_addresses);
    }
    if ((profile.transport_methods & protocol::transport_http) != 0U) {
        add_taker(ways, profile, Transport::http, profile.urls);
    }
    return ways;
}

}  // namespace

bool subscribes(const Profile& profile, const MessageType& type) {
    return subscribes_to_group(profile, type) && static_cast<int>(type.severity) >= profile.message_level;
}

std::vector<Taker> select_takers(const Configuration& configuration, const MessageType& type,
                                 std::string_view named) {
    std::vector<Taker> takers;
    for (const Profile& profile : configuration.profiles) {
        if (type.for_every_profile || profile.name == named || subscribes(profile, type)) {
            std::vector<Taker> ways = ways_to(profile);
            std::move(ways.begin(), ways.end(), std::back_inserter(takers));
        }
    }
    return takers;
}

std::string why_nobody_takes(const Configuration& configuration, const MessageType& type) {
    const bool any_destination =
        std::any_of(configuration.profiles.begin(), configuration.profiles.end(),
                    [](const Profile& profile) { return !ways_to(profile).empty(); });
    if (!any_destination) {
        return "No destination profile has an address for its transport method; add one with "
               "'destination-profile NAME email-addr ADDRESS'";
    }
    return fmt::format(
        "No destination profile with an address takes messages of the alert group {0} at level {1}; "
        "subscribe one to the group with 'destination-profile NAME alert-group {0}', or lower its "
        "message level",
        type.alert_group, static_cast<int>(type.severity));
}

}  // namespace callhome::service
