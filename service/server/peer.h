// Who is at the other end of a connection, as the kernel says it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "distribution/login_session.h"

namespace callhome::service {

struct PeerCredentials {
    uid_t user;
    std::vector<gid_t> groups;  // the primary one and all others
    LoginSession session = {};
};

// Nothing when the kernel cannot tell; such a peer gets no service.
std::optional<PeerCredentials> read_credentials(int socket);

// "user 1234" for a user without a name.
std::string login_name_of(uid_t user);

// Decides who may change things; whoever else connects may read.
struct ChangePolicy {
    uid_t service_user;
    std::optional<gid_t> operators;  // the group whose members may

    // The policy of this process: its own user, and the group "callhome" when the system has it.
    static ChangePolicy of_this_process();

    bool allows(const PeerCredentials& peer) const;
};

}  // namespace callhome::service
