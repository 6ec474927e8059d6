// What a run of a signature says: its commands with their variables, and the message about it.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "messages/signature_report.h"
#include "signatures/catalogue.h"
#include "signatures/variables.h"

namespace callhome::service {

// A run up to the moment at which its message is written.
struct RunFacts {
    std::string trigger;      // the log line, or what else set it off
    std::uint32_t count = 0;  // runs, this one included
    std::int64_t time = 0;    // when it began
    std::vector<CommandOutput> outputs;
};

// The commands as they are run. Refused when a variable has no value, or one that it may not have.
std::variant<std::vector<std::string>, Refusal> commands_of(const InstalledSignature& installed);

// The message without the profile that takes it.
std::variant<SignatureReport, Refusal> report_of(const InstalledSignature& installed,
                                                 const RunFacts& facts);

}  // namespace callhome::service
