// Who asks for something that a distribution session decides about.
#pragma once

#include <sys/types.h>

#include <string>

#include "distribution/login_session.h"

namespace callhome::service {

struct Identity {
    uid_t user = 0;
    LoginSession session;

    bool operator==(const Identity&) const = default;
};

class Requester {
 public:
    virtual ~Requester() = default;

    virtual Identity identity() const = 0;
    virtual std::string login_name() const = 0;

 protected:
    Requester() = default;
    Requester(const Requester&) = default;
    Requester& operator=(const Requester&) = default;
};

}  // namespace callhome::service
