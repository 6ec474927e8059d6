#include "server/peer.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace callhome::service {
namespace {

constexpr uid_t root = 0;
constexpr const char* operators_group = "callhome";
constexpr std::size_t name_service_buffer = 16384;  // bytes; a group of many members needs room
constexpr int most_group_queries = 3;

std::optional<std::vector<gid_t>> read_groups(int socket) {
    std::vector<gid_t> groups(64);
    for (int query = 0; query < most_group_queries; ++query) {
        auto length = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        const int result = ::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length);
        groups.resize(length / sizeof(gid_t));
        if (result == 0) {
            return groups;
        }
        if (errno != ERANGE) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<PeerCredentials> read_credentials(int socket) {
    ucred credentials{};
    socklen_t length = sizeof(credentials);
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) {
        return std::nullopt;
    }
    auto groups = read_groups(socket);
    if (!groups) {
        return std::nullopt;
    }
    groups->push_back(credentials.gid);
    return PeerCredentials{.user = credentials.uid,
                           .groups = *std::move(groups),
                           .session = login_session_of(credentials.pid)};
}

std::string login_name_of(uid_t user) {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, name_service_buffer> texts;
    if (::getpwuid_r(user, &entry, texts.data(), texts.size(), &found) != 0 || found == nullptr) {
        return "user " + std::to_string(user);
    }
    return found->pw_name;
}

ChangePolicy ChangePolicy::of_this_process() {
    group entry{};
    group* found = nullptr;
    std::vector<char> texts(name_service_buffer);
    int result = 0;
    while ((result = ::getgrnam_r(operators_group, &entry, texts.data(), texts.size(), &found)) == ERANGE) {
        texts.resize(2 * texts.size());
    }
    ChangePolicy policy{.service_user = ::geteuid(), .operators = std::nullopt};
    if (result == 0 && found != nullptr) {
        policy.operators = found->gr_gid;
    }
    return policy;
}

bool ChangePolicy::allows(const PeerCredentials& peer) const {
    const bool is_operator = operators && std::ranges::find(peer.groups, *operators) != peer.groups.end();
    return peer.user == root || peer.user == service_user || is_operator;
}

}  // namespace callhome::service
