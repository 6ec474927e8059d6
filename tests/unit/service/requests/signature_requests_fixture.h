// What the tests of signature requests share: actions as records, files and downloads as the test says.
#pragma once

#include <algorithm>

#include "protocol/records/signature.h"
#include "requests_fixture.h"

namespace callhome::service {

using protocol::DsActionRecord;
using protocol::DsQuestionRecord;
using protocol::ResultCode;
using protocol::SignatureAction;

class SignatureRequestsTest : public RequestsTest {
 protected:
    struct ActionAnswer {
        ResultCode code{};
        std::uint32_t id = 0;
        std::vector<DsQuestionRecord> questions;
    };

    static DsActionRecord action(SignatureAction wanted, std::uint32_t id = 0) {
        DsActionRecord record{};
        record.action = static_cast<std::uint32_t>(wanted);
        record.ds_id = id;
        return record;
    }
    static DsActionRecord load_of(const std::string& path) {
        DsActionRecord record = action(SignatureAction::load_file);
        write_text(record.file_name, path);
        return record;
    }

    static ActionAnswer answer_in(std::span<const std::byte> body) {
        DsActionRecord record{};
        if (body.size() < sizeof(record)) {
            ADD_FAILURE() << "the reply is no action record";
            return {};
        }
        std::memcpy(&record, body.data(), sizeof(record));
        ActionAnswer answer{static_cast<ResultCode>(record.status), record.ds_id, {}};
        const auto behind = body.subspan(sizeof(record));
        EXPECT_EQ(behind.size(), record.entry_count * sizeof(DsQuestionRecord));
        answer.questions.resize(behind.size() / sizeof(DsQuestionRecord));
        std::ranges::copy(behind, std::as_writable_bytes(std::span(answer.questions)).begin());
        return answer;
    }

    ActionAnswer act(const DsActionRecord& record) {
        EXPECT_EQ(send(Opcode::signature_action, Operation::set, record), Status::ok);
        return answer_in(reply.body());
    }
    // A request whose answer comes later.
    void begin(const DsActionRecord& record) {
        EXPECT_EQ(send(Opcode::signature_action, Operation::set, record), std::nullopt);
    }
    ActionAnswer late_answer() const {
        EXPECT_EQ(caller.late_status, Status::ok);
        return answer_in(caller.late_body);
    }

    Outcome send_answers(DsActionRecord record, std::span<const DsQuestionRecord> questions) {
        record.action = static_cast<std::uint32_t>(SignatureAction::install_answers);
        std::vector<std::byte> body(sizeof(record));
        std::memcpy(body.data(), &record, sizeof(record));
        protocol::convert_byte_order(body, protocol::layout_of<DsActionRecord>());
        const auto behind = std::as_bytes(questions);
        body.insert(body.end(), behind.begin(), behind.end());
        return send(static_cast<std::uint32_t>(Opcode::signature_action),
                    static_cast<std::uint32_t>(Operation::set), body);
    }
    ActionAnswer answer_questions(std::uint32_t id, std::span<const DsQuestionRecord> questions) {
        DsActionRecord record{};
        record.ds_id = id;
        record.entry_count = static_cast<std::uint32_t>(questions.size());
        EXPECT_EQ(send_answers(record, questions), Status::ok);
        return answer_in(reply.body());
    }

    // A file with its signature beside it, which means what it is said to mean.
    std::string put_file(const Signature& signature, const std::string& text, const char* name = "ds.xml") {
        files.known[text] = signature;
        folder.write(name, text);
        folder.write(std::string(name) + ".sig", "signed");
        return folder / name;
    }
    void load(const Signature& signature, const std::string& text) {
        ASSERT_EQ(act(load_of(put_file(signature, text))).code, ResultCode::ok);
    }
    static Signature asking_signature(std::uint32_t id) {
        Signature signature = plain_signature(id);
        SignatureVariable port = prompted_variable("ds_port", "Which port?");
        port.pattern = "[0-9]+";
        signature.variables = {port, prompted_variable("ds_mail", "Whom to tell?")};
        signature.commands = {"show interface $ds_port"};
        return signature;
    }
    static void set_answer(DsQuestionRecord& question, std::string_view answer) {
        std::ranges::fill(question.answer, '\0');
        write_text(question.answer, answer);
    }

    // A switch that can download.
    void configure_download() {
        store.set_enabled(true);
        Profile profile;
        profile.name = "ops";
        store.effective().put_profile(profile);
        store.effective().add_address(AddressKind::url, "ops", "https://a.example/ds");
        catalogue.set_profile("ops");
    }
    static DownloadResult downloaded(std::uint32_t id, const std::string& text) {
        DownloadResult result;
        DownloadedFile& file = result.files.emplace_back();
        file.id = id;
        file.xml = text;
        file.signature = DetachedSignature{SigningMethod::ed25519, "signed"};
        return result;
    }
    ActionAnswer finish_download(DownloadResult result) {
        files.finish_download(std::move(result));
        return late_answer();
    }

    ResultCode set_variable(const std::string& name, const std::string& value,
                            Operation operation = Operation::set) {
        protocol::DsEnvironmentRecord record{};
        write_text(record.name, name);
        write_text(record.value, value);
        const auto answer = ask(Opcode::signature_environment, operation, record);
        EXPECT_EQ(answer.status, Status::ok);
        return static_cast<ResultCode>(answer.record.value().status);
    }
    ResultCode set_profile(const std::string& name, Operation operation = Operation::set) {
        protocol::DsProfileRecord record{};
        write_text(record.profile_name, name);
        const auto answer = ask(Opcode::signature_profile, operation, record);
        EXPECT_EQ(answer.status, Status::ok);
        return static_cast<ResultCode>(answer.record.value().status);
    }

    std::vector<SignatureFailure> failures() const {
        std::vector<SignatureFailure> found;
        catalogue.each_failure([&](const SignatureFailure& failure) { found.push_back(failure); });
        return found;
    }
    void expect_failure(std::uint32_t id, FailureStage stage, const std::string& why) {
        ASSERT_FALSE(failures().empty());
        EXPECT_EQ(failures().front().id, id);
        EXPECT_EQ(failures().front().stage, stage);
        EXPECT_NE(failures().front().why.find(why), std::string::npos) << failures().front().why;
    }
};

}  // namespace callhome::service
