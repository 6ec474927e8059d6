// The engine of a switch that shares its configuration with no other: there is nobody to ask.
#pragma once

#include <asio/io_context.hpp>

#include "distribution/commit_engine.h"

namespace callhome::service {

class LocalCommitEngine final : public CommitEngine {
 public:
    explicit LocalCommitEngine(asio::io_context& io) : io_(io) {}

    void start(const SharedConfiguration& pending, Decide decide) override;

 private:
    asio::io_context& io_;
};

}  // namespace callhome::service
