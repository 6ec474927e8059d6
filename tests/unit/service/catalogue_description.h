// All that a catalogue holds, as text: two that describe themselves alike are alike.
#pragma once

#include <fmt/format.h>

#include <string>

#include "signatures/catalogue.h"

namespace callhome::service {

inline std::string description_of(const VariableValues& values) {
    std::string text;
    for (const auto& [name, value] : values) {
        text += fmt::format("{}={};", name, value);
    }
    return text;
}

inline std::string description_of(const SignatureCounters& counters) {
    return fmt::format("runs {} in {} at most {} last {}; messages {} and {} last {} {}", counters.runs,
                       counters.total_seconds, counters.longest_seconds, counters.last_run_at,
                       counters.messages_sent, counters.messages_failed, counters.last_message_at,
                       counters.last_message_result);
}

inline std::string description_of(const Catalogue& catalogue) {
    const SignatureSettings& settings = catalogue.settings();
    std::string text = fmt::format("active {}, profile {}, environment {}\n", settings.active,
                                   settings.profile, description_of(settings.environment));
    for (const auto& [id, entry] : catalogue.entries()) {
        text += fmt::format("{} ({}) {} state {} answers {} runs {} loaded {} installed {}; {}\n", id,
                            entry.signature->name, catalogue.xml_of(id), static_cast<int>(entry.state),
                            description_of(entry.answers), entry.runs_of_install, entry.loaded_at,
                            entry.installed_at, description_of(entry.counters));
    }
    for (const DownloadKind kind : download_kinds) {
        const DownloadCounters counters = catalogue.downloads(kind);
        text += fmt::format("downloads {}: {} {} {}\n", static_cast<int>(kind), counters.failed,
                            counters.succeeded, counters.last_request_at);
    }
    return text;
}

}  // namespace callhome::service
