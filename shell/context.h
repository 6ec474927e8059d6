// The parsed command as a handler of the library gets it.
#pragma once

#include <memory>

#include "callhome/context.h"
#include "parser.h"

namespace callhome::shell {

// Owns a CommandContext and all that it points to. `command` must outlive it.
class HandlerContext {
 public:
    HandlerContext(const ParsedCommand& command, bool active_supervisor);
    HandlerContext(const HandlerContext&) = delete;
    HandlerContext& operator=(const HandlerContext&) = delete;
    ~HandlerContext() = default;

    CommandContext* get() { return &context_; }

 private:
    CommandContext context_{};
    std::vector<TokenRecord> records_;
    std::vector<Value> values_;  // handlers may write into what they are given
};

}  // namespace callhome::shell
