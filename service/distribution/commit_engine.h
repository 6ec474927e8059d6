// How a commit comes about: what the switches that share a configuration have to do before it takes effect.
#pragma once

#include <functional>

#include "protocol/status.h"
#include "store/configuration.h"

namespace callhome::service {

class CommitEngine {
 public:
    // ok makes the pending copy the effective one of this switch; any other status is the reason why the
    // commit fails. Returns what has become of it here, which may be a failure also after an ok.
    using Decide = std::function<protocol::Status(protocol::Status verdict)>;

    virtual ~CommitEngine() = default;

    // Returns at once. `decide` is called once, later, on the io_context's thread; `pending` stays
    // unchanged until then.
    virtual void start(const SharedConfiguration& pending, Decide decide) = 0;

 protected:
    CommitEngine() = default;
    CommitEngine(const CommitEngine&) = default;
    CommitEngine& operator=(const CommitEngine&) = default;
};

}  // namespace callhome::service
