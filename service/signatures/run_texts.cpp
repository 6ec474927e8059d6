#include "signatures/run_texts.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>

#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::size_t host_name_size = 256;

std::string host_name() {
    std::array<char, host_name_size> name{};
    ::gethostname(name.data(), name.size() - 1);
    return clean_line(name.data());
}

std::string all_outputs(const std::vector<CommandOutput>& outputs) {
    std::string text;
    for (const CommandOutput& output : outputs) {
        text += fmt::format("{}:\n{}\n", output.command, clean_text(output.output));
    }
    return text;
}

VariableValues with_built_ins(const InstalledSignature& installed, const RunFacts& facts) {
    VariableValues values = installed.variables;
    const auto add = [&](std::string_view name, std::string value) {
        values.insert_or_assign(std::string(name), std::move(value));
    };
    add(built_in::id, fmt::to_string(installed.id));
    add(built_in::name, installed.signature->name);
    add(built_in::host, host_name());
    add(built_in::time, iso_time(facts.time));
    add(built_in::event, clean_line(facts.trigger));
    add(built_in::count, fmt::to_string(facts.count));
    add(built_in::output, all_outputs(facts.outputs));
    return values;
}

std::optional<Refusal> refuse_values(const InstalledSignature& installed) {
    for (const SignatureVariable& variable : installed.signature->variables) {
        const auto value = installed.variables.find(variable.name);
        if (value == installed.variables.end()) {
            return Refusal{protocol::ResultCode::environment_missing,
                           fmt::format("no value is set for {}", variable.name)};
        }
        if (auto refusal = refuse_value(variable, value->second)) {
            return refusal;
        }
    }
    return std::nullopt;
}

}  // namespace

std::variant<std::vector<std::string>, Refusal> commands_of(const InstalledSignature& installed) {
    if (auto refusal = refuse_values(installed)) {
        return *std::move(refusal);
    }
    std::vector<std::string> commands;
    for (const std::string& command : installed.signature->commands) {
        auto filled = fill_in(command, installed.variables);
        if (auto* refusal = std::get_if<Refusal>(&filled)) {
            return std::move(*refusal);
        }
        commands.push_back(std::get<std::string>(std::move(filled)));
    }
    return commands;
}

std::variant<SignatureReport, Refusal> report_of(const InstalledSignature& installed,
                                                 const RunFacts& facts) {
    const Signature& signature = *installed.signature;
    const VariableValues values = with_built_ins(installed, facts);
    auto subject = fill_in_subject(signature.subject, values);
    if (auto* refusal = std::get_if<Refusal>(&subject)) {
        return std::move(*refusal);
    }
    auto text = fill_in(signature.text, values);
    if (auto* refusal = std::get_if<Refusal>(&text)) {
        return std::move(*refusal);
    }
    return SignatureReport{.id = installed.id,
                           .name = signature.name,
                           .revision = signature.revision,
                           .trigger = facts.trigger,
                           .subject = std::get<std::string>(std::move(subject)),
                           .text = std::get<std::string>(std::move(text)),
                           .alert_group = signature.alert_group,
                           .profile = {},
                           .outputs = facts.outputs};
}

}  // namespace callhome::service
