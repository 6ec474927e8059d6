#include "signatures/catalogue.h"

#include <gtest/gtest.h>

#include "catalogue_description.h"
#include "fake_signatures.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

constexpr std::int64_t some_day = 1'700'000'000;

class CatalogueTest : public testing::Test {
 protected:
    CatalogueTest() {
        catalogue.when_changed([this] { ++changes; });
    }

    // Loads the signature as a file whose text is `xml`.
    void load(const Signature& signature, const std::string& xml) {
        files.known[xml] = signature;
        catalogue.load({{signature, xml}});
    }
    void load_and_install(const Signature& signature) {
        load(signature, "text of " + signature.name);
        catalogue.install(signature.id, {});
    }
    const CatalogueEntry& entry(std::uint32_t id) { return *catalogue.find(id); }
    std::vector<SignatureFailure> failures() const {
        std::vector<SignatureFailure> found;
        catalogue.each_failure([&](const SignatureFailure& failure) { found.push_back(failure); });
        return found;
    }
    void expect_the_same_after_a_restart() {
        const Catalogue again(database, files.reader(), [this] { return now; });
        EXPECT_EQ(description_of(again), description_of(catalogue));
    }

    TemporaryFolder folder;
    Database database{folder / "callhome.db"};
    FakeSignatures files;
    std::int64_t now = some_day;
    int changes = 0;
    Catalogue catalogue{database, files.reader(), [this] { return now; }};
};

TEST_F(CatalogueTest, AtFirstThereIsNothingAndNothingRuns) {
    EXPECT_FALSE(catalogue.settings().active);
    EXPECT_TRUE(catalogue.settings().profile.empty());
    EXPECT_TRUE(catalogue.entries().empty());
    EXPECT_TRUE(catalogue.runnable().empty());
    EXPECT_EQ(catalogue.find(1), nullptr);
    EXPECT_EQ(catalogue.xml_of(1), "");
}

TEST_F(CatalogueTest, WhatIsLoadedDoesNotRunBeforeItIsInstalled) {
    catalogue.set_active(true);
    load(plain_signature(7), "seven");
    EXPECT_EQ(entry(7).state, SignatureState::loaded);
    EXPECT_EQ(entry(7).loaded_at, some_day);
    EXPECT_EQ(catalogue.xml_of(7), "seven");
    EXPECT_TRUE(catalogue.runnable().empty());
    catalogue.install(7, {});
    ASSERT_EQ(catalogue.runnable().size(), 1U);
    EXPECT_EQ(catalogue.runnable().front().id, 7U);
}

TEST_F(CatalogueTest, NothingRunsWhileSignaturesAreNotActive) {
    load_and_install(plain_signature(7));
    EXPECT_TRUE(catalogue.runnable().empty());
    catalogue.set_active(true);
    EXPECT_EQ(catalogue.runnable().size(), 1U);
    catalogue.set_active(false);
    EXPECT_TRUE(catalogue.runnable().empty());
}

TEST_F(CatalogueTest, EverythingIsThereAfterARestart) {
    catalogue.set_active(true);
    catalogue.set_profile("ops");
    catalogue.set_variable("ds_site", "3");
    catalogue.set_variable("ds_room", "cellar");
    catalogue.remove_variable("ds_room");
    Signature asking = plain_signature(7, "asks");
    asking.variables = {prompted_variable("ds_port", "Which port?")};
    load(asking, "seven");
    catalogue.install(7, {{"ds_port", "ethernet 1/1"}});
    load(plain_signature(8), "eight");
    now += 60;
    catalogue.note_run(7, 0.25);
    catalogue.note_run(7, 1.5);
    catalogue.note_message(7, true, "Successfully sent");
    catalogue.note_message(7, false, "nobody takes it");
    catalogue.note_download_request(DownloadKind::all);
    catalogue.note_download_result(DownloadKind::all, true);
    catalogue.note_download_result(DownloadKind::one, false);
    EXPECT_EQ(entry(7).counters.runs, 2U);
    EXPECT_DOUBLE_EQ(entry(7).counters.total_seconds, 1.75);
    EXPECT_DOUBLE_EQ(entry(7).counters.longest_seconds, 1.5);
    EXPECT_EQ(entry(7).counters.messages_sent, 1U);
    EXPECT_EQ(entry(7).counters.messages_failed, 1U);
    EXPECT_EQ(entry(7).counters.last_message_result, "nobody takes it");
    expect_the_same_after_a_restart();
}

TEST_F(CatalogueTest, ASignatureThatIsNotUnderstoodAnyMoreIsLeftOut) {
    load(plain_signature(7), "seven");
    load(plain_signature(8), "eight");
    files.known.erase("seven");
    const Catalogue again(database, files.reader());
    EXPECT_EQ(again.find(7), nullptr);
    EXPECT_NE(again.find(8), nullptr);
}

TEST_F(CatalogueTest, ANewTextOfTheSameIdTakesThePlaceOfTheOldOne) {
    load(plain_signature(7, "old"), "old text");
    catalogue.note_run(7, 1);
    load(plain_signature(7, "new"), "new text");
    EXPECT_EQ(catalogue.entries().size(), 1U);
    EXPECT_EQ(entry(7).signature->name, "new");
    EXPECT_EQ(catalogue.xml_of(7), "new text");
    EXPECT_EQ(entry(7).counters.runs, 1U);
    expect_the_same_after_a_restart();
}

TEST_F(CatalogueTest, ANewTextStaysInstalledWhileTheAnswersAreAllItAsksFor) {
    Signature signature = plain_signature(7);
    signature.variables = {prompted_variable("ds_port", "Which port?")};
    load(signature, "one");
    catalogue.install(7, {{"ds_port", "ethernet 1/1"}});
    signature.revision = "1.1";
    load(signature, "two");
    EXPECT_EQ(entry(7).state, SignatureState::installed);
    EXPECT_EQ(description_of(entry(7).answers), "ds_port=ethernet 1/1;");
}

TEST_F(CatalogueTest, ANewTextThatAsksForMoreHasToBeInstalledAgain) {
    Signature signature = plain_signature(7);
    signature.variables = {prompted_variable("ds_port", "Which port?")};
    load(signature, "one");
    catalogue.install(7, {{"ds_port", "ethernet 1/1"}});
    signature.variables = {prompted_variable("ds_mail", "Whom to tell?")};
    load(signature, "two");
    EXPECT_EQ(entry(7).state, SignatureState::loaded);
    EXPECT_TRUE(entry(7).answers.empty());
    expect_the_same_after_a_restart();
}

TEST_F(CatalogueTest, ANewTextThatRefusesAnAnswerHasToBeInstalledAgain) {
    Signature signature = plain_signature(7);
    signature.variables = {prompted_variable("ds_port", "Which port?")};
    load(signature, "one");
    catalogue.install(7, {{"ds_port", "ethernet 1/1"}});
    signature.variables.front().pattern = "[0-9]+";
    load(signature, "two");
    EXPECT_EQ(entry(7).state, SignatureState::loaded);
}

TEST_F(CatalogueTest, OfSeveralAllAreLoadedOrNone) {
    database.connection().exec(
        "CREATE TRIGGER refuse BEFORE INSERT ON signature WHEN NEW.id = 8"
        " BEGIN SELECT RAISE(ABORT, 'full'); END");
    EXPECT_THROW(catalogue.load({{plain_signature(7), "seven"}, {plain_signature(8), "eight"}}),
                 SQLite::Exception);
    EXPECT_TRUE(catalogue.entries().empty());
    EXPECT_EQ(catalogue.xml_of(7), "");
    EXPECT_EQ(changes, 0);
}

TEST_F(CatalogueTest, AChangeThatCannotBeStoredIsNotMade) {
    load(plain_signature(7), "seven");
    const std::string before = description_of(catalogue);
    database.connection().exec("PRAGMA query_only = ON");
    EXPECT_THROW(catalogue.set_active(true), SQLite::Exception);
    EXPECT_THROW(catalogue.set_profile("ops"), SQLite::Exception);
    EXPECT_THROW(catalogue.set_variable("ds_site", "3"), SQLite::Exception);
    EXPECT_THROW(catalogue.install(7, {}), SQLite::Exception);
    EXPECT_THROW(catalogue.remove(7), SQLite::Exception);
    EXPECT_THROW(catalogue.remove_all(), SQLite::Exception);
    EXPECT_THROW(catalogue.note_run(7, 1), SQLite::Exception);
    EXPECT_THROW(catalogue.note_message(7, true, ""), SQLite::Exception);
    EXPECT_THROW(catalogue.note_download_result(DownloadKind::one, true), SQLite::Exception);
    EXPECT_EQ(description_of(catalogue), before);
}

TEST_F(CatalogueTest, TheCallbackHearsOfWhatRunsAndOfNothingElse) {
    catalogue.set_active(true);
    catalogue.set_variable("ds_site", "3");
    catalogue.remove_variable("ds_site");
    load(plain_signature(7), "seven");
    catalogue.install(7, {});
    EXPECT_EQ(changes, 5);
    catalogue.note_message(7, true, "");
    catalogue.note_run(7, 1);
    catalogue.note_dropped_event(7);
    catalogue.set_profile("ops");
    EXPECT_EQ(changes, 5);
    catalogue.remove(7);
    catalogue.remove_all();
    EXPECT_EQ(changes, 7);
}

TEST_F(CatalogueTest, WithoutALimitItRunsOnAndOn) {
    load_and_install(plain_signature(7));
    for (int run = 0; run < 100; ++run) {
        EXPECT_EQ(catalogue.note_run(7, 0), AfterRun::goes_on);
    }
}

TEST_F(CatalogueTest, AtItsLimitASignatureRunsNoMore) {
    Signature signature = plain_signature(7);
    signature.execution_limit = 2;
    catalogue.set_active(true);
    load_and_install(signature);
    EXPECT_EQ(catalogue.note_run(7, 0), AfterRun::goes_on);
    const int changes_before = changes;
    EXPECT_EQ(catalogue.note_run(7, 0), AfterRun::deactivated);
    EXPECT_EQ(entry(7).state, SignatureState::finished);
    EXPECT_TRUE(catalogue.runnable().empty());
    EXPECT_EQ(changes, changes_before + 1);
    expect_the_same_after_a_restart();
}

TEST_F(CatalogueTest, InstalledAgainItRunsAsOftenAgain) {
    Signature signature = plain_signature(7);
    signature.execution_limit = 1;
    load_and_install(signature);
    EXPECT_EQ(catalogue.note_run(7, 0), AfterRun::deactivated);
    catalogue.install(7, {});
    EXPECT_EQ(entry(7).state, SignatureState::installed);
    EXPECT_EQ(catalogue.note_run(7, 0), AfterRun::deactivated);
    EXPECT_EQ(entry(7).counters.runs, 2U);
}

TEST_F(CatalogueTest, AtItsLimitASignatureIsRemovedWhenItSaysSo) {
    Signature signature = plain_signature(7);
    signature.execution_limit = 1;
    signature.removed_at_limit = true;
    load_and_install(signature);
    EXPECT_EQ(catalogue.note_run(7, 0), AfterRun::removed);
    EXPECT_EQ(catalogue.find(7), nullptr);
    EXPECT_EQ(catalogue.note_run(7, 0), AfterRun::removed);
    expect_the_same_after_a_restart();
}

TEST_F(CatalogueTest, ClearingStatisticsDoesNotLengthenALimit) {
    Signature signature = plain_signature(7);
    signature.execution_limit = 2;
    load_and_install(signature);
    catalogue.note_run(7, 3);
    catalogue.note_failure(7, FailureStage::registration, "no such command");
    catalogue.clear_run_statistics();
    EXPECT_EQ(entry(7).counters.runs, 0U);
    EXPECT_TRUE(failures().empty());
    EXPECT_EQ(catalogue.note_run(7, 1), AfterRun::deactivated);
    expect_the_same_after_a_restart();
}

TEST_F(CatalogueTest, DownloadsAreCountedEachKindByItself) {
    now += 5;
    catalogue.note_download_request(DownloadKind::one);
    catalogue.note_download_result(DownloadKind::one, true);
    catalogue.note_download_result(DownloadKind::one, false);
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).succeeded, 1U);
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).failed, 1U);
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).last_request_at, some_day + 5);
    EXPECT_EQ(catalogue.downloads(DownloadKind::all).last_request_at, 0);
    catalogue.clear_download_statistics();
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).failed, 0U);
    expect_the_same_after_a_restart();
}

TEST_F(CatalogueTest, TheLastFailureOfEachStageIsKeptTheLatestFirst) {
    load(plain_signature(7, "flaps"), "seven");
    catalogue.note_failure(7, FailureStage::registration, "first");
    catalogue.note_failure(7, FailureStage::sign, "second");
    now += 60;
    catalogue.note_failure(7, FailureStage::registration, "third");
    const auto found = failures();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].why, "third");
    EXPECT_EQ(found[0].name, "flaps");
    EXPECT_EQ(found[0].stage, FailureStage::registration);
    EXPECT_EQ(found[0].at, some_day + 60);
    EXPECT_EQ(found[1].why, "second");
}

TEST_F(CatalogueTest, FilesWithoutAnIdFailEachUnderItsOwnName) {
    catalogue.note_failure({.name = "a.xml", .stage = FailureStage::parsing, .at = 0, .why = "one"});
    catalogue.note_failure({.name = "b.xml", .stage = FailureStage::parsing, .at = 0, .why = "two"});
    catalogue.note_failure({.name = "a.xml", .stage = FailureStage::parsing, .at = 0, .why = "three"});
    ASSERT_EQ(failures().size(), 2U);
    EXPECT_EQ(failures()[0].why, "three");
}

TEST_F(CatalogueTest, WhyIsKeptAsOneCleanLine) {
    catalogue.note_failure(
        {.name = "a\nb", .stage = FailureStage::parsing, .at = 0, .why = "one\n\x01two"});
    EXPECT_EQ(failures().front().name, "a b");
    EXPECT_EQ(failures().front().why.find_first_of("\n\x01"), std::string::npos);
}

TEST_F(CatalogueTest, TheOldestFailuresGoWhenThereAreTooMany) {
    Transactions transactions(database.connection());
    Transaction together(transactions);
    for (std::uint32_t id = 1; id <= 1005; ++id) {
        catalogue.note_failure(id, FailureStage::download, "no server");
    }
    together.commit();
    const auto found = failures();
    ASSERT_EQ(found.size(), 1000U);
    EXPECT_EQ(found.front().id, 1005U);
    EXPECT_EQ(found.back().id, 6U);
}

TEST(SignatureVariables, AnAnswerIsForWhatWasAskedAndTheEnvironmentForTheRest) {
    Signature signature = plain_signature(7);
    SignatureVariable site;
    site.name = "ds_site";
    SignatureVariable room;
    room.name = "ds_room";
    room.default_value = "attic";
    SignatureVariable desk;
    desk.name = "ds_desk";
    signature.variables = {prompted_variable("ds_port", "Which port?"), site, room, desk};
    const VariableValues values =
        variables_of(signature, {{"ds_port", "1/1"}, {"ds_site", "from an answer"}},
                     {{"ds_port", "from outside"}, {"ds_site", "3"}, {"ds_other", "5"}});
    EXPECT_EQ(description_of(values), "ds_port=1/1;ds_room=attic;ds_site=3;");
}

}  // namespace
}  // namespace callhome::service
