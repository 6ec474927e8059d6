#include "command.h"
#include "protocol/records/signature.h"
#include "signature_replies.h"

namespace callhome::test {
namespace {

using protocol::DsShowRequest;

const std::string eleven_blanks(11, ' ');

class SignatureSettingsTest : public LibraryTest {
 protected:
    // What is printed for a reply.
    Lines lines_of(Answer reply) {
        platform().printed.clear();
        platform().tuples.clear();
        service_says(std::move(reply));
        const auto [result, out, err] = run(ch_show_gch_ds, command_);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "") << "all output goes through the handle";
        return platform().printed;
    }
    Lines lines_of(const std::string& reply) { return lines_of(text_answer(reply)); }

    Command command_;
};

const Lines shown_row{
    "%-8s |30740063=8001",       "%-31s |30740064=link-flapping",        "%-8s |30740065=1.2",
    "%-10s |30740066=installed", "%-19s\n|30740067=2026-11-21 16:00:12",
};

// The rows of the table that are printed, and nothing that comes before them.
Lines rows_of(const Lines& printed) {
    Lines rows;
    for (const std::string& line : printed) {
        for (const std::string& shown : shown_row) {
            const std::size_t tag_end = shown.find('=');
            if (line.substr(0, tag_end) == shown.substr(0, tag_end)) {
                rows.push_back(line);
            }
        }
    }
    return rows;
}

Lines joined(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

TEST_F(SignatureSettingsTest, ShowsSettingsVariablesAndSignatures) {
    const Lines printed = lines_of(settings_lines + variable_lines + signature_heading + signature_row);
    EXPECT_EQ(
        printed,
        joined({{
                    "\n",
                    "Current diagnostic-signature settings:\n",
                    " ",
                    "Diagnostic-signature",
                    ": ",
                    "%s\n|3074005E=Enabled",
                    " ",
                    "Profile",
                    ": ",
                    "%s\n|3074005F=ops (state: active)",
                    " Environment variable:\n",
                    "           %s:|30740061=ds_site",
                    " %s\n|30740062=Harbour 12:30",
                    "           %s:|30740061=ds_floor",
                    " %s\n|30740062=",
                    "\n",
                    "Downloaded DSes:\n",
                    "                                                             Last Update\n",
                    "DS ID    DS Name                         Revision State      (UTC)\n",
                    "-------- ------------------------------- -------- ---------- -------------------\n",
                },
                shown_row}));
    EXPECT_EQ(platform().sends, 1);
    EXPECT_EQ(h, command_.context());
}

TEST_F(SignatureSettingsTest, AsksForTheSettings) {
    lines_of(settings_lines);
    ASSERT_EQ(asked(), Asked{"312325/1"});
    EXPECT_EQ(platform().exchanges[0].length, 8U);
    EXPECT_TRUE(platform().exchanges[0].wants_reply);
    EXPECT_EQ(platform().exchanges[0].cmd_type, 1U);
    EXPECT_TRUE(platform().exchanges[0].sent == in_transport_order(DsShowRequest{.view = 1, .ds_id = 0}));
}

TEST_F(SignatureSettingsTest, SaysThatNoVariableIsSet) {
    const Lines printed = lines_of(settings_lines + eleven_blanks + "Not yet set up\n" + signature_heading);
    ASSERT_EQ(printed.size(), 17U);
    EXPECT_EQ(printed[10], " Environment variable:\n");
    EXPECT_EQ(printed[11], "%s|30740060=" + eleven_blanks + "Not yet set up\n");
    EXPECT_EQ(printed[12], "\n");
    EXPECT_EQ(printed[13], "Downloaded DSes:\n");
}

const Lines without_a_known_line{
    "\n", "", "%s\n|3074005E=", "%s\n|3074005F=", "", "\n", "", "", "", "",
};

TEST_F(SignatureSettingsTest, AReplyWithoutAKnownLineKeepsTheLinesOfTheDisplay) {
    for (const std::string& reply :
         Lines{"", "\n", "something else\n", "something else", std::string(200, ' '),
               "Current diagnostic-signature settings:"}) {
        EXPECT_EQ(lines_of(reply), without_a_known_line) << reply;
    }
}

TEST_F(SignatureSettingsTest, AReplyWithoutBytesIsAnEmptyText) {
    EXPECT_EQ(lines_of(characters("")), without_a_known_line);
    EXPECT_EQ(lines_of(characters({"\0Downloaded DSes:\n", 18})), without_a_known_line);
}

TEST_F(SignatureSettingsTest, AMissingLineDoesNotMoveTheReading) {
    const Lines printed = lines_of(" Profile: ops\nDownloaded DSes:\n" + signature_row);
    EXPECT_EQ(printed, joined({{"\n", "", "%s\n|3074005E=", " ", "Profile", ": ", "%s\n|3074005F=ops", "",
                                "\n", "Downloaded DSes:\n", "", "", ""},
                               shown_row}));
}

TEST_F(SignatureSettingsTest, ALineBeforeItsPlaceIsNotFoundAgain) {
    const Lines printed = lines_of(" Profile: early\n Diagnostic-signature: Enabled\n");
    EXPECT_EQ(printed[5], "%s\n|3074005E=Enabled");
    EXPECT_EQ(printed[6], "%s\n|3074005F=");
}

TEST_F(SignatureSettingsTest, TheKnownWordsMayStandAnywhereInTheirLine) {
    const Lines printed = lines_of("== Current diagnostic-signature settings: ==\n");
    EXPECT_EQ(printed[1], "== Current diagnostic-signature settings: ==\n");
}

TEST_F(SignatureSettingsTest, APercentSignStaysForThePlatformToShow) {
    const Lines printed =
        lines_of("Current diagnostic-signature settings: 100%% %s\n 5% Diagnostic-signature: 5%% %n\n");
    EXPECT_EQ(printed[1], "Current diagnostic-signature settings: 100%% %s\n");
    EXPECT_EQ(printed[3], "5% Diagnostic-signature");
    EXPECT_EQ(printed[5], "%s\n|3074005E=5%% %n");
}

TEST_F(SignatureSettingsTest, AVariableWithoutAColonEndsTheList) {
    const Lines printed = lines_of(settings_lines + eleven_blanks + "ds_a: 1\n" + eleven_blanks + "ds_b\n" +
                                   eleven_blanks + "ds_c: 3\n" + signature_heading);
    EXPECT_EQ(printed[11], "           %s:|30740061=ds_a");
    EXPECT_EQ(printed[12], " %s\n|30740062=1");
    EXPECT_EQ(printed[13], "\n");
    EXPECT_EQ(printed[14], "Downloaded DSes:\n");
}

TEST_F(SignatureSettingsTest, AVariableWithoutALineFeedIsNone) {
    const Lines printed = lines_of(settings_lines + eleven_blanks + "ds_a: 1");
    EXPECT_EQ(printed[11], "\n");
}

const std::string variable_line = eleven_blanks + "ds_a: 1\n";

TEST_F(SignatureSettingsTest, ReadingGoesOnAsIfTheVariablesStoodTogether) {
    const std::string heading = "Downloaded DSes: before the variable\n";
    const std::string later = variable_line + "Downloaded DSes: behind it\n";
    const std::string as_long = std::string(variable_line.size() - 1, '-') + "\n";
    Lines printed = lines_of(settings_lines + as_long + heading + later);
    EXPECT_EQ(printed[11], "           %s:|30740061=ds_a");
    EXPECT_EQ(printed[14], heading) << "it is read again";
    // One character less, and the heading has lost its first one.
    printed = lines_of(settings_lines + as_long.substr(1) + heading + later);
    EXPECT_EQ(printed[14], "Downloaded DSes: behind it\n");
}

TEST_F(SignatureSettingsTest, ColumnsAreTakenByPositionAndTrimmed) {
    const std::string line = std::string("  123456") + "?" + " a name of signature, two words" + "?" +
                             "      r " + "?" + "          " + "?" + "   last\t \n";
    EXPECT_EQ(line.find("last"), 64U);
    EXPECT_EQ(rows_of(lines_of(line)), (Lines{
                                           "%-8s |30740063=123456",
                                           "%-31s |30740064=a name of signature, two words",
                                           "%-8s |30740065=r",
                                           "%-10s |30740066=",
                                           "%-19s\n|30740067=last\t",
                                       }));
}

TEST_F(SignatureSettingsTest, ColumnsAreCutAtTheirWidth) {
    const std::string line = std::string(8, 'i') + "#" + std::string(31, 'n') + "#" + std::string(8, 'r') +
                             "#" + std::string(10, 's') + "#" + std::string(400, 'u') + "\n";
    EXPECT_EQ(rows_of(lines_of(line)), (Lines{
                                           "%-8s |30740063=" + std::string(8, 'i'),
                                           "%-31s |30740064=" + std::string(31, 'n'),
                                           "%-8s |30740065=" + std::string(8, 'r'),
                                           "%-10s |30740066=" + std::string(10, 's'),
                                           "%-19s\n|30740067=" + std::string(19, 'u'),
                                       }));
}

TEST_F(SignatureSettingsTest, ARowEndsAtOrBehindTheStartOfItsLastColumnOrEndsTheTable) {
    for (const std::size_t length : {0U, 8U, 60U, 61U, 62U, 80U}) {
        const std::string line = std::string(length, 'x') + "\n";
        const std::size_t rows =
            rows_of(lines_of(signature_heading + signature_row + line + signature_row)).size();
        EXPECT_EQ(rows / shown_row.size(), length < 61 ? 1U : 3U) << length;
    }
}

TEST_F(SignatureSettingsTest, ARowWithoutALineFeedIsNotShown) {
    std::string unfinished = signature_row;
    unfinished.pop_back();
    EXPECT_EQ(rows_of(lines_of(signature_heading + signature_row + unfinished)), shown_row);
    EXPECT_EQ(rows_of(lines_of(signature_heading + unfinished)), Lines{});
}

TEST_F(SignatureSettingsTest, ALineThatIsTooLongIsCutAndKeepsItsLineFeed) {
    const std::string words = "Current diagnostic-signature settings:";
    for (const std::size_t length : {510U, 511U, 512U, 5000U}) {
        const std::string line = words + std::string(length - words.size(), '.');
        const Lines printed = lines_of(line + "\n" + " Diagnostic-signature: Enabled\n");
        EXPECT_EQ(printed[1], line.substr(0, 510) + "\n") << length;
        EXPECT_EQ(printed[5], "%s\n|3074005E=Enabled") << "the whole line has been read";
    }
}

TEST_F(SignatureSettingsTest, IsTheSameWithoutATerminator) {
    const std::string reply = settings_lines + variable_lines + signature_heading + signature_row;
    EXPECT_EQ(lines_of(characters(reply)), lines_of(reply));
}

TEST_F(SignatureSettingsTest, ShowsWhatCameOfACutReply) {
    const std::string reply = settings_lines + variable_lines + signature_heading + signature_row;
    for (std::size_t length = 0; length < reply.size(); ++length) {
        const Lines printed = lines_of(characters(reply.substr(0, length)));
        EXPECT_EQ(rows_of(printed), Lines{}) << length;
        EXPECT_EQ(printed.front(), "\n");
    }
}

// A sanitizer measures all that is left of a text at every search in it.
#ifdef TEST_IS_SANITIZED
constexpr std::size_t many_variables = 10'000;
#else
constexpr std::size_t many_variables = 500'000;
#endif

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    while (times-- > 0) {
        all += text;
    }
    return all;
}

// Neither would ever end if each line looked at all that is left.
TEST_F(SignatureSettingsTest, ReadsManyVariables) {
    const Lines printed =
        lines_of(settings_lines + repeated(variable_line, many_variables) + signature_heading);
    EXPECT_EQ(printed.size(), 11 + 2 * many_variables + 5);
    EXPECT_EQ(printed[printed.size() - 4], "Downloaded DSes:\n");
}

TEST_F(SignatureSettingsTest, ReadsManySignatures) {
    constexpr std::size_t many = 100'000;
    const Lines printed = lines_of(signature_heading + repeated(signature_row, many));
    EXPECT_EQ(rows_of(printed).size(), shown_row.size() * many);
}

TEST_F(SignatureSettingsTest, ReadsALongReplyWithoutALineFeed) {
    constexpr std::size_t ten_megabytes = 10'000'000;
    const std::string known = " Diagnostic-signature: " + eleven_blanks + "ds_a: 1 Downloaded DSes: ";
    for (const std::string& reply :
         {std::string(ten_megabytes, ' '), repeated(known, ten_megabytes / known.size())}) {
        EXPECT_EQ(lines_of(characters(reply)), without_a_known_line);
    }
}

TEST_F(SignatureSettingsTest, OnAStandbySupervisorSendsTheLineBufferAsAnError) {
    for (const std::uint32_t active_sup : {0U, 2U}) {
        for (const std::string& left_over : Lines{"", "from an earlier command"}) {
            platform() = Platform{};
            put(buffer, left_over);
            command_.context()->active_sup = active_sup;
            const auto [result, out, err] = run(ch_show_gch_ds, command_);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, "This command is supported on active sup only.\n");
            EXPECT_EQ(platform().printed, Lines{"%s|0=" + left_over});
            EXPECT_EQ(platform().sends, 1);
            EXPECT_EQ(asked(), Asked{});
        }
    }
}

}  // namespace
}  // namespace callhome::test
