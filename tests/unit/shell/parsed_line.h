// What a typed line becomes, in a short notation.
#pragma once

#include <arpa/inet.h>

#include <ostream>
#include <string>
#include <string_view>

#include "callhome/context.h"
#include "parser.h"
#include "real_grammar.h"

namespace callhome::shell {

inline constexpr std::uint32_t host_kinds = 0x40000000;  // what the kinds of a host_text begin with

inline std::string value_text(const CheckedValue& value) {
    if (const auto* text = std::get_if<std::string>(&value.value)) {
        if (value.value_kind != 0) {
            return "kind " + std::to_string(value.value_kind - host_kinds) + ":" + *text;
        }
        return (value.value_type == CALLHOME_VALUE_HOST_NAME ? "name:" : "") + *text;
    }
    if (const auto* number = std::get_if<std::uint32_t>(&value.value)) {
        return std::string("u32:").append(std::to_string(*number));
    }
    if (const auto* byte = std::get_if<std::uint8_t>(&value.value)) {
        return std::string("u8:").append(std::to_string(*byte));
    }
    const bool is_ipv6 = value.value_type == CALLHOME_VALUE_IPV6;
    std::string text(INET6_ADDRSTRLEN, '\0');
    inet_ntop(is_ipv6 ? AF_INET6 : AF_INET, std::get<AddressBlock>(value.value).data() + 4, text.data(),
              INET6_ADDRSTRLEN);
    return (is_ipv6 ? "ipv6:" : "ipv4:") + std::string(text.c_str());
}

// "handler no 102: 19=full_txt 17=u32:4000"
inline std::string parsed(std::string_view mode, std::string_view line) {
    const ParseResult result = parse_line(grammar(), mode_named(mode), line);
    if (std::holds_alternative<NothingTyped>(result)) {
        return "nothing";
    }
    if (const auto* error = std::get_if<ParseError>(&result)) {
        std::string text("error at ");
        return text.append(std::to_string(error->position)).append(": ").append(describe(*error));
    }
    const auto& command = std::get<ParsedCommand>(result);
    std::string text(command.command->handler);
    text += command.no_form ? " no" : "";
    text += command.command->command_id == 0 ? "" : " " + std::to_string(command.command->command_id);
    text += ":";
    for (const ParsedToken& token : command.tokens) {
        text.append(" ")
            .append(std::to_string(token.keyword_id))
            .append("=")
            .append(value_text(token.value));
    }
    return text;
}

struct Line {
    const char* mode;
    const char* typed;
    const char* expected;
};

inline void PrintTo(const Line& line, std::ostream* out) {
    *out << line.mode << ": " << line.typed;
}

}  // namespace callhome::shell
