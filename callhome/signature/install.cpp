// Installing a signature: the service sends the signature's questions, the user answers them, and the reply
// goes back with the answers in it.
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "frame/tokens.h"
#include "protocol/records/signature.h"
#include "signature/request.h"
#include "signature/text.h"

namespace callhome::library {
namespace {

using protocol::DsActionRecord;
using protocol::DsQuestionRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::SignatureAction;
using protocol::Status;

using ActionReply = Reply<DsActionRecord>;

constexpr std::size_t answer_size = sizeof DsQuestionRecord::answer;
// Read at once, with the terminator; what a longer line has left is read for the next question.
constexpr int line_size = sizeof DsQuestionRecord::answer;
constexpr const char* abandoning_keys = "\x1A\x03\x04";  // Ctrl-Z, Ctrl-C, Ctrl-D

using AnswerText = char[answer_size + 1];

DsActionRecord request_of(const CommandContext& ctx) {
    DsActionRecord record{};
    record.action = static_cast<std::uint32_t>(SignatureAction::install);
    for (const TokenRecord& token : Tokens(ctx)) {
        if (token.keyword_id == keyword_signature_id) {
            set_number(record, &DsActionRecord::ds_id, token);
        }
    }
    return record;
}

void ask(const DsQuestionRecord& question) {
    std::printf("%s ", FieldText(question.prompt).c_str());
    if (const FieldText default_answer(question.answer); !default_answer.empty()) {
        std::printf("[%s]?", default_answer.c_str());
    }
    (void)std::fflush(stdout);
}

// Puts the user's answer in place of the default; an empty one keeps it. False when the user gives up.
bool take_answer(DsQuestionRecord& question, AnswerText& answer) {
    if (std::fgets(answer, line_size, stdin) == nullptr) {
        return false;
    }
    answer[std::strcspn(answer, "\n")] = '\0';
    if (std::strpbrk(answer, abandoning_keys) != nullptr) {
        return false;
    }
    if (answer[0] != '\0') {
        // One byte more than the field: the terminator ends the prompt, which nobody needs any more.
        char* const field = reinterpret_cast<char*>(&question) + offsetof(DsQuestionRecord, answer);
        bounded_copy(field, answer, answer_size);
    }
    return true;
}

bool answer_all(ActionReply& questions, std::size_t count, AnswerText& answer) {
    // An end of input that was typed at an earlier question stays with its stream otherwise.
    std::clearerr(stdin);
    for (std::size_t index = 0; index < count; ++index) {
        auto& question = questions.entry<DsQuestionRecord>(index);
        ask(question);
        if (!take_answer(question, answer)) {
            return false;
        }
    }
    return true;
}

void report_results(ActionReply& outcome, std::size_t count) {
    report_result(outcome.record()->status);
    for (std::size_t index = 0; index < count && index < outcome.entries<DsQuestionRecord>(); ++index) {
        const FieldText result(outcome.entry<DsQuestionRecord>(index).result);
        if (!result.empty()) {
            std::fprintf(stderr, "%s\n", result.c_str());
        }
    }
}

std::uint32_t send_answers(ActionReply& answers, std::size_t count, CommandContext& ctx) {
    answers.record()->action = static_cast<std::uint32_t>(SignatureAction::install_answers);
    ActionReply outcome;
    const ServiceStatus status = answers.send_back(Opcode::signature_action, Operation::set, outcome, ctx);
    if (status != code(Status::ok) || outcome.record() == nullptr) {
        return report_failed_exchange();
    }
    report_results(outcome, count);
    return done;
}

// What follows from the reply to the request; a part of the questions would install half a signature.
std::uint32_t go_on(ActionReply& questions, AnswerText& answer, CommandContext& ctx) {
    const DsActionRecord* reply = questions.record();
    if (reply == nullptr) {
        return report_failed_exchange();
    }
    if (reply->status != 0) {
        report_result(reply->status);
        return failed;
    }
    const std::size_t count = reply->entry_count;
    if (count == 0) {
        return done;
    }
    if (count > questions.entries<DsQuestionRecord>()) {
        return report_failed_exchange();
    }
    return answer_all(questions, count, answer) ? send_answers(questions, count, ctx) : failed;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t ch_exec_gch_ds_install(CommandContext* ctx) {
    AnswerText answer{};
    if (is_refused(*ctx)) {
        return failed;
    }
    cmd_type = class_exec;
    DsActionRecord request = request_of(*ctx);
    ActionReply questions;
    const ServiceStatus status = questions.ask(Opcode::signature_action, Operation::set, request, *ctx);
    if (status != code(Status::ok)) {
        return report_failed_exchange();
    }
    // Unlike the other actions, silent without a reply: a service that has nothing to ask may send none.
    return questions.length() == 0 ? done : go_on(questions, answer, *ctx);
}
