#include <spdlog/spdlog.h>

#include <cstring>
#include <vector>

#include "protocol/records/signature.h"
#include "requests/fields.h"
#include "requests/functions.h"
#include "signatures/actions.h"
#include "signatures/views.h"

namespace callhome::service {
namespace {

using protocol::DsActionRecord;
using protocol::DsQuestionRecord;
using protocol::ResultCode;
using protocol::SignatureAction;
using protocol::Status;

constexpr std::uint8_t on = 1;

// What came of it goes into the reply record: the status of the exchange is that of the transport.
template <typename Change>
std::uint32_t result_of(const Change& change) {
    try {
        return static_cast<std::uint32_t>(change());
    } catch (const SQLite::Exception& error) {
        spdlog::error("a change of signatures could not be stored: {}", error.what());
        return static_cast<std::uint32_t>(ResultCode::store_failed);
    }
}

std::vector<std::byte> action_reply(DsActionRecord record, std::span<const DsQuestionRecord> questions) {
    record.entry_count = static_cast<std::uint32_t>(questions.size());
    std::vector<std::byte> body(sizeof(record) + questions.size_bytes());
    std::memcpy(body.data(), &record, sizeof(record));
    std::ranges::copy(std::as_bytes(questions), body.begin() + sizeof(record));
    return body;
}

// The answers behind the record; nothing when there are not as many as it says.
std::optional<std::vector<DsQuestionRecord>> answers_in(const Call& call, const DsActionRecord& record) {
    const auto behind = call.record.subspan(sizeof(record));
    if (record.entry_count > protocol::most_questions ||
        behind.size() != record.entry_count * sizeof(DsQuestionRecord)) {
        return std::nullopt;
    }
    std::vector<DsQuestionRecord> answers(record.entry_count);
    std::ranges::copy(behind, std::as_writable_bytes(std::span(answers)).begin());
    return answers;
}

Outcome answer_action(Call& call, DsActionRecord record, std::uint32_t result,
                      std::span<const DsQuestionRecord> questions = {}) {
    record.status = result;
    call.reply.set_body(action_reply(record, questions));
    return Status::ok;
}

Outcome load_file(Call& call, const DsActionRecord& record) {
    return answer_action(call, record,
                         result_of([&] { return call.signatures.load_file(read_text(record.file_name)); }));
}

Outcome deinstall(Call& call, const DsActionRecord& record) {
    return answer_action(call, record, result_of([&] { return call.signatures.deinstall(record.ds_id); }));
}

Outcome download(Call& call, const DsActionRecord& record) {
    const auto done = [answer = call.caller.answer_later(), record](ResultCode code) {
        DsActionRecord reply = record;
        reply.status = static_cast<std::uint32_t>(code);
        answer(Status::ok, action_reply(reply, {}));
    };
    // A request that was not even begun for want of storage has its answer here.
    const std::uint32_t begun = result_of([&] {
        call.signatures.download(record.ds_id, done);
        return ResultCode::ok;
    });
    return begun == 0 ? Outcome() : answer_action(call, record, begun);
}

Outcome install(Call& call, const DsActionRecord& record) {
    SignatureActions::Installation installation;
    const std::uint32_t result = result_of([&] {
        installation = call.signatures.begin_install(record.ds_id);
        return installation.code;
    });
    return answer_action(call, record, result, installation.questions);
}

Outcome take_answers(Call& call, const DsActionRecord& record) {
    auto answered = answers_in(call, record);
    if (!answered) {
        return Status::malformed_request;
    }
    SignatureActions::Installation installation;
    const std::uint32_t result = result_of([&] {
        installation = call.signatures.finish_install(record.ds_id, *std::move(answered));
        return installation.code;
    });
    return answer_action(call, record, result, installation.questions);
}

}  // namespace

Outcome act_on_signatures(Call& call, const DsActionRecord& record) {
    const auto action = static_cast<SignatureAction>(record.action);
    if (action != SignatureAction::install_answers && call.record.size() != sizeof(record)) {
        return Status::malformed_request;
    }
    switch (action) {
        case SignatureAction::deinstall:
            return deinstall(call, record);
        case SignatureAction::download:
            return download(call, record);
        case SignatureAction::install:
            return install(call, record);
        case SignatureAction::install_answers:
            return take_answers(call, record);
        case SignatureAction::load_file:
            return load_file(call, record);
    }
    return answer_action(call, record, static_cast<std::uint32_t>(ResultCode::action_wrong));
}

Outcome set_signatures_active(Call& call, const protocol::DsActiveRecord& record) {
    if (record.active > on) {
        return Status::malformed_request;
    }
    call.signatures.catalogue().set_active(record.active == on);
    return Status::ok;
}

Outcome set_signature_profile(Call& call, const protocol::DsProfileRecord& record) {
    protocol::DsProfileRecord answer = record;
    answer.status = result_of([&] { return call.signatures.set_profile(read_text(record.profile_name)); });
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome remove_signature_profile(Call& call, const protocol::DsProfileRecord& record) {
    protocol::DsProfileRecord answer = record;
    answer.status =
        result_of([&] { return call.signatures.remove_profile(read_text(record.profile_name)); });
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome set_signature_variable(Call& call, const protocol::DsEnvironmentRecord& record) {
    protocol::DsEnvironmentRecord answer = record;
    answer.status = result_of(
        [&] { return call.signatures.set_variable(read_text(record.name), read_text(record.value)); });
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome remove_signature_variable(Call& call, const protocol::DsEnvironmentRecord& record) {
    protocol::DsEnvironmentRecord answer = record;
    answer.status = result_of([&] { return call.signatures.remove_variable(read_text(record.name)); });
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome clear_signature_statistics(Call& call, const protocol::DsStatsClearRecord& record) {
    switch (static_cast<protocol::SignatureStatistics>(record.statistics)) {
        case protocol::SignatureStatistics::run_time:
            call.signatures.catalogue().clear_run_statistics();
            return Status::ok;
        case protocol::SignatureStatistics::downloads:
            call.signatures.catalogue().clear_download_statistics();
            return Status::ok;
    }
    return Status::malformed_request;
}

Outcome get_signature_view(Call& call, const protocol::DsShowRequest& record) {
    const auto text =
        signature_view(static_cast<protocol::SignatureView>(record.view), record.ds_id, call.signatures);
    if (!text) {
        return Status::malformed_request;
    }
    call.reply.set_text(*text);
    return Status::ok;
}

}  // namespace callhome::service
