// Each view, and that its tables stand where the library cuts them.
#include "signatures/views.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <sstream>

#include "fake_signatures.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

using protocol::SignatureView;

constexpr std::int64_t some_day = 1'700'000'000;  // 2023-11-14 22:13:20 UTC

class ViewsTest : public testing::Test {
 protected:
    ViewsTest() {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }

    void load(const Signature& signature, const std::string& xml = "<signature/>") {
        files.known[xml] = signature;
        catalogue.load({{signature, xml}});
    }
    std::string view(SignatureView view, std::uint32_t id = 0) {
        return signature_view(view, id, actions).value();
    }
    std::vector<std::string> lines(SignatureView wanted, std::uint32_t id = 0) {
        std::vector<std::string> found;
        std::istringstream text(view(wanted, id));
        for (std::string line; std::getline(text, line);) {
            found.push_back(line);
        }
        return found;
    }

    TemporaryFolder folder;
    Database database{folder / "callhome.db"};
    Configuration configuration;
    FakeSignatures files;
    std::int64_t now = some_day;
    Catalogue catalogue{database, files.reader(), [this] { return now; }};
    SignatureActions actions{catalogue, configuration, files.means()};
};

TEST_F(ViewsTest, SettingsOfAFreshSwitch) {
    EXPECT_EQ(view(SignatureView::settings),
              "Current diagnostic-signature settings:\n"
              " Diagnostic-signature: disabled\n"
              " Profile: not set up\n"
              " Environment variable:\n"
              "           Not yet set up\n"
              "\n"
              "Downloaded DSes:\n"
              "\n"
              "                                                             Last Update\n"
              "DS ID    DS Name                         Revision State      (local time)\n"
              "-------- ------------------------------- -------- ---------- -------------------\n");
}

TEST_F(ViewsTest, SettingsAndWhatIsLoaded) {
    configuration.profiles.emplace_back().name = "ops";
    catalogue.set_active(true);
    catalogue.set_profile("ops");
    catalogue.set_variable("ds_site", "3");
    catalogue.set_variable("ds_room", "the cellar: left");
    Signature longest = plain_signature(99'999'999, std::string(31, 'n'));
    longest.revision = "12345678";
    load(plain_signature(7, "flaps"), "one");
    load(longest, "two");
    catalogue.install(7, {});
    EXPECT_EQ(view(SignatureView::settings),
              "Current diagnostic-signature settings:\n"
              " Diagnostic-signature: enabled\n"
              " Profile: ops\n"
              " Environment variable:\n"
              "           ds_room: the cellar: left\n"
              "           ds_site: 3\n"
              "\n"
              "Downloaded DSes:\n"
              "\n"
              "                                                             Last Update\n"
              "DS ID    DS Name                         Revision State      (local time)\n"
              "-------- ------------------------------- -------- ---------- -------------------\n"
              "7        flaps                           1.0      installed  2023-11-14 22:13:20\n"
              "99999999 nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn 12345678 loaded     2023-11-14 22:13:20\n");
}

TEST_F(ViewsTest, AProfileThatIsGoneIsToldSo) {
    catalogue.set_profile("ops");
    EXPECT_EQ(lines(SignatureView::settings)[2], " Profile: ops (there is no such profile)");
}

TEST_F(ViewsTest, FailuresTheLatestFirst) {
    load(plain_signature(7, "a name that is longer"));
    catalogue.note_failure(
        {.name = "odd.xml", .stage = FailureStage::parsing, .at = 0, .why = "line 3: no"});
    now += 60;
    catalogue.note_failure(7, FailureStage::registration, "no such command");
    EXPECT_EQ(view(SignatureView::failures),
              "Stage: D - Download, P - Parsing, F - File access,\n"
              "       R - Registration, S - Sign verification\n"
              "                                Last Failed Time\n"
              "DS ID    DS Name          Stage (local time)        Reason\n"
              "-------- ---------------- ----- ------------------- --------------------\n"
              "7        a name that is l R     2023-11-14 22:14:20 no such command\n"
              "-        odd.xml          P     2023-11-14 22:13:20 line 3: no\n");
}

TEST_F(ViewsTest, ALongReasonIsCutAtTheEndOfACharacter) {
    std::string why(198, 'x');
    catalogue.note_failure({.id = 7, .name = "", .stage = FailureStage::sign, .at = 0, .why = why + "ää"});
    EXPECT_TRUE(view(SignatureView::failures).ends_with(" " + why + "\n"));
}

TEST_F(ViewsTest, AFailureWithoutAReasonIsStillAWholeRow) {
    catalogue.note_failure({.id = 7, .name = "", .stage = FailureStage::file, .at = 0, .why = ""});
    EXPECT_EQ(lines(SignatureView::failures).back().size(), 52U);
}

TEST_F(ViewsTest, RunTimes) {
    Signature limited = plain_signature(8, "limited");
    limited.execution_limit = 10;
    limited.removed_at_limit = true;
    load(plain_signature(7, "flaps"), "one");
    load(limited, "two");
    catalogue.install(8, {});
    catalogue.note_run(8, 0.5);
    catalogue.note_run(8, 2);
    EXPECT_EQ(view(SignatureView::run_time),
              "                                           Run count/     Average Run  Max Run\n"
              "DS ID     DS Name                          Max/Deinstall  Time(sec)    Time(sec)\n"
              "--------  -------------------------------  -------------  -----------  ---------\n"
              "7         flaps                            0/-/N          -            -\n"
              "8         limited                          2/10/Y         1.250        2.000\n");
}

TEST_F(ViewsTest, DownloadsStandSomewhatRightOfTheirHeadings) {
    catalogue.note_download_request(DownloadKind::one);
    catalogue.note_download_result(DownloadKind::one, true);
    catalogue.note_download_result(DownloadKind::one, false);
    catalogue.note_download_result(DownloadKind::one, false);
    files.waiting = 3;
    EXPECT_EQ(view(SignatureView::downloads),
              "Download-type    In-queue      Fail    Success   Last request sent\n"
              "-------------   ----------    -----   -------   -------------------\n"
              "one signature       3          2        1        2023-11-14 22:13:20\n"
              "all signatures      3          0        0        never\n");
}

TEST_F(ViewsTest, ADescriptionHasWhatSomebodyWantsToKnowBeforeInstallingIt) {
    Signature signature = plain_signature(7);
    signature.required_version = "1.1";
    signature.execution_limit = 5;
    load(signature);
    EXPECT_EQ(view(SignatureView::description, 7),
              "Signature 7: link flapping\n"
              " Revision:          1.0\n"
              " Author:            Ada Marlowe\n"
              " Required version:  1.1\n"
              " Alert group:       Diagnostic\n"
              " Execution limit:   5, then it runs no more\n"
              " State:             loaded, not installed\n"
              " Description:\n"
              "   Ports that go up and down.\n"
              "   More than twice.\n");
}

TEST_F(ViewsTest, TheTextOfOneSignatureIsAsItWasLoaded) {
    load(plain_signature(7), "<signature>\n  100%\n</signature>\n");
    EXPECT_EQ(view(SignatureView::xml, 7), "<signature>\n  100%\n</signature>\n");
    EXPECT_EQ(view(SignatureView::xml), "Signature 7: link flapping\n<signature>\n  100%\n</signature>\n");
}

TEST_F(ViewsTest, AllTextsTogetherEndWhereAReplyWouldBecomeTooLong) {
    for (std::uint32_t id = 1; id <= 12; ++id) {
        load(plain_signature(id), std::string(1'000'000, static_cast<char>('a' + id)));
    }
    const std::string text = view(SignatureView::xml);
    EXPECT_LT(text.size(), 10'000'000U);
    EXPECT_TRUE(text.ends_with("\nThere are more; ask for them one by one.\n"));
}

struct EventRow {
    SignatureEvent event;
    const char* shown;
};

TEST_F(ViewsTest, EachKindOfEventIsShown) {
    const std::array rows{
        EventRow{OnDemandEvent{}, " Event:             on demand\n"},
        EventRow{LogEvent{"port .* down"},
                 " Event:             a log line\n Pattern:           port .* down\n"},
        EventRow{TimerEvent{std::chrono::seconds(90)},
                 " Event:             a timer\n Period:            90 seconds\n"},
        EventRow{CronEvent{"0 3 * * *"}, " Event:             the clock\n Cron expression:   0 3 * * *\n"},
    };
    for (const EventRow& row : rows) {
        Signature signature = plain_signature(7);
        signature.event = row.event;
        load(signature);
        EXPECT_EQ(view(SignatureView::events, 7), std::string("Signature 7: link flapping\n") + row.shown +
                                                      " Alert group:       Diagnostic\n");
    }
}

TEST_F(ViewsTest, PromptsAndWhatTheyWereAnswered) {
    Signature signature = plain_signature(7);
    SignatureVariable port = prompted_variable("ds_port", "Which port?");
    port.default_value = "1";
    port.pattern = "[0-9]+";
    SignatureVariable site;
    site.name = "ds_site";
    signature.variables = {port, site};
    load(signature);
    catalogue.install(7, {{"ds_port", "23"}});
    EXPECT_EQ(view(SignatureView::prompts, 7),
              "Signature 7: link flapping\n"
              " Variable:          ds_port\n"
              "   Prompt:          Which port?\n"
              "   Default:         1\n"
              "   Pattern:         [0-9]+\n"
              "   Value:           23\n"
              " Variable:          ds_site\n"
              "   Prompt:          none, its value is that of the environment\n"
              "   Value:           not set\n");
    load(plain_signature(8), "eight");
    EXPECT_EQ(view(SignatureView::prompts, 8), "Signature 8: link flapping\n It has no variables.\n");
}

TEST_F(ViewsTest, ActionsAreTheCommandsAndTheMessage) {
    Signature signature = plain_signature(7);
    signature.commands = {"show interface $ds_port", "show logging"};
    load(signature);
    EXPECT_EQ(view(SignatureView::actions, 7),
              "Signature 7: link flapping\n"
              " Commands:\n"
              "   show interface $ds_port\n"
              "   show logging\n"
              " Message subject:   links flap\n"
              " Message text:\n"
              "   Look at it.\n");
}

TEST_F(ViewsTest, StateAndMessagesMoveWithTheRuns) {
    catalogue.set_active(true);
    load(plain_signature(7));
    catalogue.install(7, {});
    now += 10;
    catalogue.note_run(7, 1);
    catalogue.note_dropped_event(7);
    catalogue.note_message(7, true, "Successfully sent to ada@example.net");
    EXPECT_EQ(view(SignatureView::state, 7),
              "Signature 7: link flapping\n"
              " State:             installed, waits for its event\n"
              " Loaded:            2023-11-14 22:13:20\n"
              " Installed:         2023-11-14 22:13:20\n"
              " Runs:              1 since it was installed\n"
              " Execution limit:   none\n"
              " Last run:          2023-11-14 22:13:30\n"
              " Dropped events:    1\n");
    EXPECT_EQ(view(SignatureView::messages, 7),
              "Signature 7: link flapping\n"
              " Sent:              1\n"
              " Failed:            0\n"
              " Last message:      2023-11-14 22:13:30\n"
              " Last result:       Successfully sent to ada@example.net\n");
}

TEST_F(ViewsTest, AStateTellsWhyNothingRuns) {
    Signature signature = plain_signature(7);
    signature.execution_limit = 1;
    load(signature);
    EXPECT_EQ(lines(SignatureView::state, 7)[1], " State:             loaded, not installed");
    catalogue.install(7, {});
    EXPECT_EQ(lines(SignatureView::state, 7)[1],
              " State:             installed, does not run: diagnostic signatures are disabled");
    catalogue.note_run(7, 1);
    EXPECT_EQ(lines(SignatureView::state, 7)[1],
              " State:             finished: it has run as often as it may");
}

TEST_F(ViewsTest, WithoutAnIdTheyAreOfAllSignatures) {
    for (const auto which :
         {SignatureView::description, SignatureView::xml, SignatureView::events, SignatureView::prompts,
          SignatureView::actions, SignatureView::state, SignatureView::messages}) {
        EXPECT_EQ(view(which), "No signature is loaded.\n");
        load(plain_signature(7, "seven"), "one");
        load(plain_signature(8, "eight"), "two");
        const std::string text = view(which);
        EXPECT_TRUE(text.starts_with("Signature 7: seven\n"));
        EXPECT_NE(text.find("\n\nSignature 8: eight\n"), std::string::npos);
        catalogue.remove_all();
    }
}

TEST_F(ViewsTest, OfASignatureThatIsNotThereTheySaySo) {
    EXPECT_EQ(view(SignatureView::description, 9), "There is no signature 9.\n");
    EXPECT_EQ(view(SignatureView::xml, 9), "There is no signature 9.\n");
}

TEST_F(ViewsTest, ThereAreElevenAndNoOthers) {
    for (std::uint32_t number = 0; number <= 20; ++number) {
        EXPECT_EQ(signature_view(static_cast<SignatureView>(number), 0, actions).has_value(),
                  number >= 1 && number <= 11);
    }
}

}  // namespace
}  // namespace callhome::service
