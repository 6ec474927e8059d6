// Signatures as they are asked for over the socket.
#include "signature_requests_fixture.h"

namespace callhome::service {
namespace {

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

}  // namespace
}  // namespace callhome::service
