// The questions that a signature asks before it is installed, as they go to the shell and come back.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/records/signature.h"
#include "signatures/catalogue.h"

namespace callhome::service {

// One for each variable that is asked for. The default is what was answered before, else the signature's
// own, else what the environment says. `xml` is the signature's text.
std::vector<protocol::DsQuestionRecord> questions_of(const CatalogueEntry& entry, std::string_view xml,
                                                     const VariableValues& environment);

// Reads the answers to these questions. Says in each record's `result` what is wrong with it, if anything
// is; then the code is not ok.
struct Answers {
    protocol::ResultCode code = protocol::ResultCode::ok;
    std::string why;  // the first thing that is wrong
    VariableValues values;
};
Answers read_answers(const Signature& signature, std::string_view xml,
                     std::span<protocol::DsQuestionRecord> answered);

}  // namespace callhome::service
