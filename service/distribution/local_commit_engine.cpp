#include "distribution/local_commit_engine.h"

#include <utility>

#include <asio/post.hpp>

namespace callhome::service {

void LocalCommitEngine::start(const SharedConfiguration& /*pending*/, Decide decide) {
    asio::post(io_, [decide = std::move(decide)] { decide(protocol::Status::ok); });
}

}  // namespace callhome::service
