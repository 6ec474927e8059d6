#include "signatures/questions.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "messages/text.h"
#include "requests/fields.h"

namespace callhome::service {
namespace {

using protocol::DsQuestionRecord;
using protocol::ResultCode;

// What the service puts into a question to know it again: the text that it was asked for, so that answers
// to another text than the one that is there now are found out, and the place of its variable.
struct QuestionKey {
    std::uint64_t text;
    std::uint32_t id;
    std::uint32_t variable;

    bool operator==(const QuestionKey&) const = default;
};
static_assert(sizeof(QuestionKey) == sizeof(DsQuestionRecord::key));

// FNV-1a. It only has to tell one revision from another: whoever may answer may also load.
std::uint64_t digest_of(std::string_view text) {
    constexpr std::uint64_t offset = 0xCBF29CE484222325;
    constexpr std::uint64_t prime = 0x100000001B3;
    std::uint64_t digest = offset;
    for (const char byte : text) {
        digest = (digest ^ static_cast<unsigned char>(byte)) * prime;
    }
    return digest;
}

std::string default_of(const SignatureVariable& variable, const CatalogueEntry& entry,
                       const VariableValues& environment) {
    if (const auto before = entry.answers.find(variable.name); before != entry.answers.end()) {
        return before->second;
    }
    if (variable.default_value) {
        return *variable.default_value;
    }
    const auto set = environment.find(variable.name);
    return set == environment.end() ? std::string() : set->second;
}

// The question that stands at each place of `signature.variables`.
std::vector<QuestionKey> keys_of(const Signature& signature, std::string_view xml) {
    std::vector<QuestionKey> keys;
    const std::uint64_t digest = digest_of(xml);
    for (std::uint32_t i = 0; i < signature.variables.size(); ++i) {
        keys.push_back({digest, signature.id, i});
    }
    return keys;
}

class Reader {
 public:
    Reader(const Signature& signature, std::string_view xml)
        : signature_(signature), keys_(keys_of(signature, xml)) {}

    void take(DsQuestionRecord& answered) {
        std::ranges::fill(answered.result, '\0');
        QuestionKey key;
        std::memcpy(&key, answered.key, sizeof(key));
        const auto found = std::ranges::find(keys_, key);
        if (found == keys_.end() || !variable_at(found).is_asked_for()) {
            complain(answered, ResultCode::prompt_missing,
                     "this question is not asked any more; install the signature again");
            return;
        }
        const SignatureVariable& variable = variable_at(found);
        const std::string value = read_text(answered.answer);
        if (const auto refusal = refuse_value(variable, value)) {
            complain(answered, ResultCode::prompt_value_invalid, refusal->why);
            return;
        }
        answers_.values[variable.name] = value;
    }

    Answers finish() {
        for (const SignatureVariable& variable : signature_.variables) {
            if (answers_.code == ResultCode::ok && variable.is_asked_for() &&
                !answers_.values.contains(variable.name)) {
                answers_.code = ResultCode::prompt_missing;
                answers_.why = variable.name + " was not answered";
            }
        }
        return std::move(answers_);
    }

 private:
    const SignatureVariable& variable_at(std::vector<QuestionKey>::const_iterator key) const {
        return signature_.variables[key->variable];
    }
    void complain(DsQuestionRecord& answered, ResultCode code, const std::string& why) {
        write_text(answered.result, cut_to(clean_line(why), sizeof(answered.result) - 1));
        if (answers_.code == ResultCode::ok) {
            answers_.code = code;
            answers_.why = why;
        }
    }

    const Signature& signature_;
    const std::vector<QuestionKey> keys_;
    Answers answers_;
};

}  // namespace

std::vector<DsQuestionRecord> questions_of(const CatalogueEntry& entry, std::string_view xml,
                                           const VariableValues& environment) {
    const Signature& signature = *entry.signature;
    const std::vector<QuestionKey> keys = keys_of(signature, xml);
    std::vector<DsQuestionRecord> questions;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const SignatureVariable& variable = signature.variables[i];
        if (variable.is_asked_for()) {
            DsQuestionRecord& question = questions.emplace_back();
            std::memcpy(question.key, &keys[i], sizeof(question.key));
            write_text(question.answer, default_of(variable, entry, environment));
            write_text(question.prompt, variable.prompt);
        }
    }
    return questions;
}

Answers read_answers(const Signature& signature, std::string_view xml,
                     std::span<DsQuestionRecord> answered) {
    Reader reader(signature, xml);
    for (DsQuestionRecord& record : answered) {
        reader.take(record);
    }
    return reader.finish();
}

}  // namespace callhome::service
