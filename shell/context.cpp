#include "context.h"

#include <unistd.h>

namespace callhome::shell {

namespace {

constexpr std::uint32_t transport_handle = 1;  // one link a process

void* address_of(Value& value) {
    return std::visit(
        [](auto& held) -> void* {
            if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::string>) {
                return held.data();
            } else {
                return static_cast<void*>(&held);
            }
        },
        value);
}

}  // namespace

HandlerContext::HandlerContext(const ParsedCommand& command, bool active_supervisor)
    : records_(command.tokens.size()) {
    context_.token_count = static_cast<std::uint8_t>(command.tokens.size());
    context_.no_form = command.no_form ? 1 : 0;
    context_.session_id = static_cast<std::uint32_t>(getpid());
    context_.transport_handle = transport_handle;
    context_.command_id = command.command->command_id;
    context_.active_sup = active_supervisor ? 1 : 0;
    values_.reserve(command.tokens.size());
    for (std::size_t index = 0; index < command.tokens.size(); ++index) {
        const ParsedToken& token = command.tokens[index];
        values_.push_back(token.value.value);
        records_[index].keyword_id = token.keyword_id;
        records_[index].value_type = token.value.value_type;
        records_[index].value_kind = token.value.value_kind;
        records_[index].value = address_of(values_.back());
        context_.tokens[index + 1] = &records_[index];
    }
}

}  // namespace callhome::shell
