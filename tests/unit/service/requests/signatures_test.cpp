// Signatures as they are asked for over the socket.
#include "protocol/records/signature.h"

#include <unistd.h>

#include <algorithm>

#include "requests_fixture.h"

namespace callhome::service {
namespace {

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

TEST_F(SignatureRequestsTest, AFileIsLoadedWithWhatStandsBesideIt) {
    EXPECT_EQ(act(load_of(put_file(plain_signature(7), "seven"))).code, ResultCode::ok);
    ASSERT_NE(catalogue.find(7), nullptr);
    EXPECT_EQ(catalogue.xml_of(7), "seven");
    ASSERT_TRUE(files.seen_signing);
    EXPECT_EQ(files.seen_signing->bytes, "signed");
    EXPECT_EQ(files.seen_signing->method, SigningMethod::ed25519);
    EXPECT_TRUE(failures().empty());
}

TEST_F(SignatureRequestsTest, TheOtherKindOfSignatureIsFoundAsWell) {
    const std::string path = put_file(plain_signature(7), "seven");
    std::filesystem::remove(folder / "ds.xml.sig");
    folder.write("ds.xml.p7s", "certified");
    EXPECT_EQ(act(load_of(path)).code, ResultCode::ok);
    EXPECT_EQ(files.seen_signing->method, SigningMethod::cms);
}

TEST_F(SignatureRequestsTest, WhetherAFileWithoutASignatureIsTakenIsNotDecidedHere) {
    const std::string path = put_file(plain_signature(7), "seven");
    std::filesystem::remove(folder / "ds.xml.sig");
    EXPECT_EQ(act(load_of(path)).code, ResultCode::ok);
    EXPECT_FALSE(files.seen_signing);
}

TEST_F(SignatureRequestsTest, WhatNobodyVouchesForIsNotEvenRead) {
    files.untrusted.insert("seven");
    files.unreadable["seven"] = {ResultCode::xml_unreadable, "a trap"};
    folder.write("ds.xml", "seven");
    EXPECT_EQ(act(load_of(folder / "ds.xml")).code, ResultCode::not_trusted);
    EXPECT_TRUE(catalogue.entries().empty());
    expect_failure(0, FailureStage::sign, "no key vouches for it");
    EXPECT_EQ(failures().front().name, "ds.xml");
}

TEST_F(SignatureRequestsTest, ALinkIsNotFollowedNeitherToTheFileNorToItsSignature) {
    put_file(plain_signature(7), "seven");
    std::filesystem::create_symlink(folder / "ds.xml", folder / "link.xml");
    EXPECT_EQ(act(load_of(folder / "link.xml")).code, ResultCode::file_not_opened);
    std::filesystem::remove(folder / "ds.xml.sig");
    std::filesystem::create_symlink(folder / "elsewhere", folder / "ds.xml.sig");
    EXPECT_EQ(act(load_of(folder / "ds.xml")).code, ResultCode::file_not_opened);
    EXPECT_TRUE(catalogue.entries().empty());
}

TEST_F(SignatureRequestsTest, InstallingASignatureThatAsksNothingIsDoneAtOnce) {
    load(plain_signature(7), "seven");
    const ActionAnswer answer = act(action(SignatureAction::install, 7));
    EXPECT_EQ(answer.code, ResultCode::ok);
    EXPECT_TRUE(answer.questions.empty());
    EXPECT_EQ(catalogue.find(7)->state, SignatureState::installed);
}

TEST_F(SignatureRequestsTest, TheQuestionsAreAskedAndTheAnswersInstall) {
    load(asking_signature(7), "seven");
    ActionAnswer answer = act(action(SignatureAction::install, 7));
    ASSERT_EQ(answer.questions.size(), 2U);
    EXPECT_EQ(answer.id, 7U);
    EXPECT_EQ(catalogue.find(7)->state, SignatureState::loaded);
    set_answer(answer.questions[0], "23");
    set_answer(answer.questions[1], "ada@example.net");
    answer = answer_questions(7, answer.questions);
    EXPECT_EQ(answer.code, ResultCode::ok);
    ASSERT_EQ(answer.questions.size(), 2U);
    EXPECT_STREQ(answer.questions[0].result, "");
    EXPECT_EQ(catalogue.find(7)->state, SignatureState::installed);
    EXPECT_EQ(catalogue.find(7)->answers.at("ds_port"), "23");
}

TEST_F(SignatureRequestsTest, AWrongAnswerIsNamedAndNothingIsInstalled) {
    load(asking_signature(7), "seven");
    ActionAnswer answer = act(action(SignatureAction::install, 7));
    set_answer(answer.questions[0], "many");
    set_answer(answer.questions[1], "ada@example.net");
    answer = answer_questions(7, answer.questions);
    EXPECT_EQ(answer.code, ResultCode::prompt_value_invalid);
    EXPECT_STRNE(answer.questions[0].result, "");
    EXPECT_STREQ(answer.questions[1].result, "");
    EXPECT_EQ(catalogue.find(7)->state, SignatureState::loaded);
    expect_failure(7, FailureStage::registration, "ds_port");
}

TEST_F(SignatureRequestsTest, AnswersToATextThatHasChangedSinceInstallNothing) {
    load(asking_signature(7), "seven");
    ActionAnswer answer = act(action(SignatureAction::install, 7));
    set_answer(answer.questions[0], "23");
    load(asking_signature(7), "seven, revised");
    answer = answer_questions(7, answer.questions);
    EXPECT_EQ(answer.code, ResultCode::prompt_missing);
    EXPECT_EQ(catalogue.find(7)->state, SignatureState::loaded);
}

TEST_F(SignatureRequestsTest, AsManyAnswersComeAsTheRecordSaysOrItIsNotUnderstood) {
    load(asking_signature(7), "seven");
    const auto questions = act(action(SignatureAction::install, 7)).questions;
    DsActionRecord record{};
    record.ds_id = 7;
    for (const std::uint32_t count : {0U, 1U, 3U, 64U, 65U, 0xFFFFFFFFU}) {
        record.entry_count = count;
        EXPECT_EQ(send_answers(record, questions), Status::malformed_request) << count;
    }
    const std::vector<DsQuestionRecord> too_many(protocol::most_questions + 1);
    record.entry_count = protocol::most_questions + 1;
    EXPECT_EQ(send_answers(record, too_many), Status::malformed_request);
}

TEST_F(SignatureRequestsTest, OnlyAnswersHaveAnythingBehindTheRecord) {
    for (const auto wanted : {SignatureAction::deinstall, SignatureAction::download,
                              SignatureAction::install, SignatureAction::load_file}) {
        std::vector<std::byte> body(sizeof(DsActionRecord) + sizeof(DsQuestionRecord));
        const DsActionRecord record = action(wanted);
        std::memcpy(body.data(), &record, sizeof(record));
        protocol::convert_byte_order(body, protocol::layout_of<DsActionRecord>());
        EXPECT_EQ(send(static_cast<std::uint32_t>(Opcode::signature_action), 3, body),
                  Status::malformed_request);
    }
}

TEST_F(SignatureRequestsTest, OneIsRemovedOrAll) {
    load(plain_signature(7), "seven");
    load(plain_signature(8), "eight");
    load(plain_signature(9), "nine");
    EXPECT_EQ(act(action(SignatureAction::deinstall, 8)).code, ResultCode::ok);
    EXPECT_EQ(catalogue.find(8), nullptr);
    EXPECT_EQ(catalogue.entries().size(), 2U);
    EXPECT_EQ(act(action(SignatureAction::deinstall, protocol::all_signatures)).code, ResultCode::ok);
    EXPECT_TRUE(catalogue.entries().empty());
}

TEST_F(SignatureRequestsTest, ADownloadIsAnsweredWhenItHasCome) {
    configure_download();
    files.known["seven"] = plain_signature(7);
    begin(action(SignatureAction::download, 7));
    EXPECT_FALSE(caller.late_status);
    ASSERT_TRUE(files.job);
    EXPECT_EQ(files.job->kind, DownloadKind::one);
    EXPECT_EQ(files.job->id, 7U);
    EXPECT_EQ(files.job->urls, std::vector<std::string>{"https://a.example/ds"});
    const ActionAnswer answer = finish_download(downloaded(7, "seven"));
    EXPECT_EQ(answer.code, ResultCode::ok);
    EXPECT_EQ(answer.id, 7U);
    EXPECT_EQ(catalogue.xml_of(7), "seven");
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).succeeded, 1U);
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).last_request_at, now);
}

TEST_F(SignatureRequestsTest, ADownloadTakesTheConfiguredWay) {
    configure_download();
    store.effective().put_http_settings(
        {.proxy = {.server = "proxy.example", .port = 3128, .enabled = true}, .vrf_name = "mgmt"});
    begin(action(SignatureAction::download, 7));
    EXPECT_EQ(files.job->route.proxy, "proxy.example");
    EXPECT_EQ(files.job->route.proxy_port, 3128U);
    EXPECT_EQ(files.job->route.vrf_name, "mgmt");
}

TEST_F(SignatureRequestsTest, OfAllTheGoodOnesAreTakenAndTheFirstReasonIsTold) {
    configure_download();
    load(plain_signature(5), "five");
    files.known["seven"] = plain_signature(7);
    files.untrusted.insert("eight");
    begin(action(SignatureAction::download, protocol::all_signatures));
    EXPECT_EQ(files.job->kind, DownloadKind::all);
    EXPECT_EQ(files.job->present, (std::map<std::uint32_t, std::string>{{5, "1.0"}}));
    DownloadResult result = downloaded(8, "eight");
    result.files.push_back(downloaded(7, "seven").files.front());
    EXPECT_EQ(finish_download(std::move(result)).code, ResultCode::not_trusted);
    EXPECT_NE(catalogue.find(7), nullptr);
    EXPECT_EQ(catalogue.find(8), nullptr);
    expect_failure(8, FailureStage::sign, "no key vouches for it");
    EXPECT_EQ(catalogue.downloads(DownloadKind::all).failed, 1U);
}

TEST_F(SignatureRequestsTest, NothingNewOnTheServersIsNoFailure) {
    configure_download();
    begin(action(SignatureAction::download, protocol::all_signatures));
    EXPECT_EQ(finish_download({}).code, ResultCode::ok);
}

TEST_F(SignatureRequestsTest, ActiveIsSetAndTakenBack) {
    protocol::DsActiveRecord record{};
    record.active = 1;
    EXPECT_EQ(send(Opcode::signatures_active, Operation::set, record), Status::ok);
    EXPECT_TRUE(catalogue.settings().active);
    record.active = 2;
    EXPECT_EQ(send(Opcode::signatures_active, Operation::set, record), Status::malformed_request);
    record.active = 0;
    EXPECT_EQ(send(Opcode::signatures_active, Operation::set, record), Status::ok);
    EXPECT_FALSE(catalogue.settings().active);
}

TEST_F(SignatureRequestsTest, TheProfileIsSetAndTakenBack) {
    EXPECT_EQ(set_profile("full_txt"), ResultCode::ok);
    EXPECT_EQ(catalogue.settings().profile, "full_txt");
    EXPECT_EQ(set_profile("full_txt", Operation::remove), ResultCode::ok);
    EXPECT_EQ(catalogue.settings().profile, "");
    EXPECT_EQ(set_profile("full_txt"), ResultCode::ok);
    EXPECT_EQ(set_profile("", Operation::remove), ResultCode::ok);
}

TEST_F(SignatureRequestsTest, VariablesAreSetChangedAndTakenBack) {
    EXPECT_EQ(set_variable("ds_site", "3"), ResultCode::ok);
    EXPECT_EQ(set_variable("ds_site", "the cellar"), ResultCode::ok);
    EXPECT_EQ(catalogue.settings().environment.at("ds_site"), "the cellar");
    EXPECT_EQ(set_variable("ds_site", "", Operation::remove), ResultCode::ok);
    EXPECT_TRUE(catalogue.settings().environment.empty());
}

TEST_F(SignatureRequestsTest, EachKindOfStatisticsIsClearedByItself) {
    load(plain_signature(7), "seven");
    catalogue.note_run(7, 1);
    catalogue.note_download_result(DownloadKind::one, true);
    protocol::DsStatsClearRecord record{.statistics = 20};
    EXPECT_EQ(send(Opcode::signature_statistics, Operation::set, record), Status::ok);
    EXPECT_EQ(catalogue.find(7)->counters.runs, 0U);
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).succeeded, 1U);
    record.statistics = 21;
    EXPECT_EQ(send(Opcode::signature_statistics, Operation::set, record), Status::ok);
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).succeeded, 0U);
    record.statistics = 22;
    EXPECT_EQ(send(Opcode::signature_statistics, Operation::set, record), Status::malformed_request);
}

TEST_F(SignatureRequestsTest, AViewIsTextAndAnUnknownOneIsNotUnderstood) {
    load(plain_signature(7), "seven");
    EXPECT_EQ(send(Opcode::signature_view, Operation::get, protocol::DsShowRequest{.view = 3, .ds_id = 7}),
              Status::ok);
    EXPECT_EQ(reply_text(), "seven\n");
    EXPECT_EQ(send(Opcode::signature_view, Operation::get, protocol::DsShowRequest{.view = 12, .ds_id = 0}),
              Status::malformed_request);
}

// Each result code that the requests give, and how it comes about.
class ResultCodeTest : public SignatureRequestsTest {
 protected:
    ResultCode install_of(const Signature& signature) {
        load(signature, "text");
        return act(action(SignatureAction::install, signature.id)).code;
    }
    ResultCode load_of_text(const std::string& text) {
        folder.write("ds.xml", text);
        return act(load_of(folder / "ds.xml")).code;
    }
    ResultCode download(std::uint32_t id) {
        begin(action(SignatureAction::download, id));
        return late_answer().code;
    }
    ResultCode download_of(DownloadResult result) {
        configure_download();
        begin(action(SignatureAction::download, 7));
        return finish_download(std::move(result)).code;
    }
};

TEST_F(ResultCodeTest, NoChange) {
    EXPECT_EQ(set_profile("", Operation::remove), ResultCode::no_change);
}

TEST_F(ResultCodeTest, StoreFailed) {
    const std::string path = put_file(plain_signature(7), "seven");
    database.connection().exec("PRAGMA query_only = ON");
    EXPECT_EQ(act(load_of(path)).code, ResultCode::store_failed);
    EXPECT_EQ(set_variable("ds_site", "3"), ResultCode::store_failed);
    EXPECT_EQ(set_profile("full_txt"), ResultCode::store_failed);
    EXPECT_TRUE(catalogue.entries().empty());
}

TEST_F(ResultCodeTest, StoreFailedAlsoWhenADownloadHasCome) {
    configure_download();
    files.known["seven"] = plain_signature(7);
    begin(action(SignatureAction::download, 7));
    database.connection().exec("PRAGMA query_only = ON");
    EXPECT_EQ(finish_download(downloaded(7, "seven")).code, ResultCode::store_failed);
    EXPECT_TRUE(catalogue.entries().empty());
}

TEST_F(ResultCodeTest, QueueRefused) {
    configure_download();
    files.takes_downloads = false;
    EXPECT_EQ(download(7), ResultCode::queue_refused);
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).failed, 1U);
}

TEST_F(ResultCodeTest, ProfileWithoutAddress) {
    store.set_enabled(true);
    catalogue.set_profile("full_txt");
    EXPECT_EQ(download(7), ResultCode::profile_without_address);
}

TEST_F(ResultCodeTest, ProfileMissing) {
    EXPECT_EQ(set_profile("nobody"), ResultCode::profile_missing);
    EXPECT_EQ(set_profile("full_txt"), ResultCode::ok);
    EXPECT_EQ(set_profile("short_txt", Operation::remove), ResultCode::profile_missing);
}

TEST_F(ResultCodeTest, ProfileMissingForADownload) {
    store.set_enabled(true);
    EXPECT_EQ(download(7), ResultCode::profile_missing);
    expect_failure(7, FailureStage::download, "no signature profile is configured");
    catalogue.set_profile("gone");
    EXPECT_EQ(download(7), ResultCode::profile_missing);
    expect_failure(7, FailureStage::download, "'gone'");
}

TEST_F(ResultCodeTest, FeatureDisabled) {
    configure_download();
    store.set_enabled(false);
    EXPECT_EQ(download(7), ResultCode::feature_disabled);
}

TEST_F(ResultCodeTest, ParameterInvalid) {
    EXPECT_EQ(set_variable("ds_site", ""), ResultCode::parameter_invalid);
    EXPECT_EQ(set_variable("ds_site", "a\nb"), ResultCode::parameter_invalid);
    EXPECT_EQ(set_variable("ds_site", "a | include b"), ResultCode::parameter_invalid);
}

TEST_F(ResultCodeTest, ResourceMissingWhenThereAreTooManyVariables) {
    for (int number = 0; number < 64; ++number) {
        ASSERT_EQ(set_variable("ds_" + std::to_string(number), "x"), ResultCode::ok);
    }
    EXPECT_EQ(set_variable("ds_more", "x"), ResultCode::resource_missing);
    EXPECT_EQ(set_variable("ds_0", "y"), ResultCode::ok);
}

TEST_F(ResultCodeTest, ResourceMissingWhenThereAreTooManySignatures) {
    std::vector<Catalogue::Load> loads;
    for (std::uint32_t id = 1; id <= most_signatures; ++id) {
        loads.push_back({plain_signature(id), "text"});
    }
    catalogue.load(loads);
    EXPECT_EQ(act(load_of(put_file(plain_signature(1000), "more"))).code, ResultCode::resource_missing);
    EXPECT_EQ(act(load_of(put_file(plain_signature(1), "again"))).code, ResultCode::ok);
}

TEST_F(ResultCodeTest, FileNotOpened) {
    EXPECT_EQ(act(load_of(folder / "missing.xml")).code, ResultCode::file_not_opened);
    EXPECT_EQ(act(load_of(folder.path())).code, ResultCode::file_not_opened);
}

TEST_F(ResultCodeTest, FolderMissing) {
    EXPECT_EQ(act(load_of("ds.xml")).code, ResultCode::folder_missing);
    EXPECT_EQ(act(load_of("")).code, ResultCode::folder_missing);
}

TEST_F(ResultCodeTest, WhatComesOfADownloadIsHandedOn) {
    DownloadResult result;
    result.files.emplace_back().id = 7;
    result.files.back().refusal = Refusal{ResultCode::timed_out, "nobody answers"};
    EXPECT_EQ(download_of(std::move(result)), ResultCode::timed_out);
    expect_failure(7, FailureStage::download, "nobody answers");
}

TEST_F(ResultCodeTest, WhatIsWrongWithAnIndexIsHandedOn) {
    DownloadResult result;
    result.refusal = Refusal{ResultCode::http_answer_unreadable, "index, line 1: no"};
    EXPECT_EQ(download_of(std::move(result)), ResultCode::http_answer_unreadable);
    expect_failure(0, FailureStage::download, "index, line 1: no");
}

TEST_F(ResultCodeTest, ActionWrong) {
    EXPECT_EQ(act(action(static_cast<SignatureAction>(29))).code, ResultCode::action_wrong);
    EXPECT_EQ(act(action(static_cast<SignatureAction>(35))).code, ResultCode::action_wrong);
}

TEST_F(ResultCodeTest, CannotRun) {
    Signature signature = plain_signature(7);
    signature.required_version = "1.3";
    EXPECT_EQ(install_of(signature), ResultCode::cannot_run);
    expect_failure(7, FailureStage::registration, "version 1.3");
    signature.required_version = "1.2";
    EXPECT_EQ(install_of(signature), ResultCode::ok);
}

TEST_F(ResultCodeTest, EnvironmentMissing) {
    Signature signature = plain_signature(7);
    signature.variables.emplace_back().name = "ds_site";
    EXPECT_EQ(install_of(signature), ResultCode::environment_missing);
    EXPECT_EQ(set_variable("ds_site", "3"), ResultCode::ok);
    EXPECT_EQ(install_of(signature), ResultCode::ok);
    EXPECT_EQ(set_variable("ds_room", "", Operation::remove), ResultCode::environment_missing);
}

TEST_F(ResultCodeTest, IdInvalid) {
    EXPECT_EQ(act(action(SignatureAction::install, 0)).code, ResultCode::id_invalid);
    EXPECT_EQ(act(action(SignatureAction::install, 100'000'000)).code, ResultCode::id_invalid);
    EXPECT_EQ(download(100'000'000), ResultCode::id_invalid);
}

TEST_F(ResultCodeTest, IdInvalidOfAFileThatIsAnother) {
    files.known["eight"] = plain_signature(8);
    EXPECT_EQ(download_of(downloaded(7, "eight")), ResultCode::id_invalid);
    EXPECT_TRUE(catalogue.entries().empty());
    expect_failure(7, FailureStage::parsing, "the file is of signature 8");
}

TEST_F(ResultCodeTest, SignatureMissing) {
    EXPECT_EQ(act(action(SignatureAction::install, 7)).code, ResultCode::signature_missing);
    EXPECT_EQ(act(action(SignatureAction::deinstall, 7)).code, ResultCode::signature_missing);
    EXPECT_EQ(answer_questions(7, {}).code, ResultCode::signature_missing);
}

TEST_F(ResultCodeTest, OverLength) {
    EXPECT_EQ(load_of_text(std::string(1024UL * 1024UL + 1, 'x')), ResultCode::over_length);
}

TEST_F(ResultCodeTest, WhatAReaderRefusesIsHandedOn) {
    files.unreadable["odd"] = {ResultCode::tag_unsupported, "line 3: <odd> is not known"};
    EXPECT_EQ(load_of_text("odd"), ResultCode::tag_unsupported);
    expect_failure(0, FailureStage::parsing, "line 3: <odd> is not known");
    EXPECT_EQ(load_of_text("not XML"), ResultCode::xml_unreadable);
}

TEST_F(ResultCodeTest, VariableNameInvalid) {
    for (const char* name : {"", "site", "ds_", "ds_Site", "ds_a b", "ds_event"}) {
        EXPECT_EQ(set_variable(name, "3"), ResultCode::variable_name_invalid) << name;
    }
}

TEST_F(ResultCodeTest, VariableUnresolved) {
    Signature signature = plain_signature(7);
    signature.commands = {"show interface $ds_port"};
    EXPECT_EQ(install_of(signature), ResultCode::variable_unresolved);
    EXPECT_EQ(catalogue.find(7)->state, SignatureState::loaded);
}

TEST_F(ResultCodeTest, PromptValueInvalidOfTheEnvironment) {
    Signature signature = plain_signature(7);
    SignatureVariable& site = signature.variables.emplace_back();
    site.name = "ds_site";
    site.pattern = "[0-9]+";
    EXPECT_EQ(set_variable("ds_site", "cellar"), ResultCode::ok);
    EXPECT_EQ(install_of(signature), ResultCode::prompt_value_invalid);
}

TEST_F(ResultCodeTest, PromptMissing) {
    load(asking_signature(7), "seven");
    EXPECT_EQ(answer_questions(7, {}).code, ResultCode::prompt_missing);
}

TEST_F(ResultCodeTest, NotTrusted) {
    files.untrusted.insert("seven");
    EXPECT_EQ(load_of_text("seven"), ResultCode::not_trusted);
}

}  // namespace
}  // namespace callhome::service
