#include <algorithm>

#include "command.h"
#include "kept_configuration.h"
#include "platform/interface.h"

namespace callhome::test {
namespace {

const Lines whole_summary{
    "%s|30740001=callhome enabled\n",
    "%s|30740002=Callhome Information:\n",
    "%s|30740003=contact person name(sysContact):",
    "%s|30740004=Ada Marlowe\n",
    "%s|30740005=contact person's email:",
    "%s|30740006=ada@example.net\n",
    "%s|30740007=contact person's phone number:",
    "%s|30740008=+1-555-0100\n",
    "%s|30740009=street addr:",
    "%s|3074000A=12 Harbour Road\n",
    "%s|3074000B=site id:",
    "%s|3074000C=T-3\n",
    "%s|3074000D=customer id:",
    "%s|3074000E=4711\n",
    "%s|3074000F=contract id:",
    "%s|30740010=A-17\n",
    "%s|30740011=switch priority:",
    "%s|30740012=5\n",
    "%s|30740013=duplicate message throttling : enabled\n",
    "%s|30740014=periodic inventory : enabled\n",
    "%s|30740015=periodic inventory time-period : 14 days\n",
    "%s|30740016=periodic inventory timeofday : 08:00 (HH:MM)\n",
    "%s|30740017=Distribution : Enabled\n",
    "%s|30740018=Data-privacy : high and hostname\n",
};

const Asked whole_exchange{"2156/1", "2155/1", "2155/1", "2155/1", "2155/1", "2155/1",  "2155/1",
                           "2155/1", "2155/1", "2173/1", "2175/1", "2177/1", "312333/1"};
const std::vector<std::uint32_t> request_lengths{5,    2305, 2305, 2305, 2305, 2305, 2305,
                                                 2305, 2305, 5,    13,   4,    9};
// Lines of a whole summary that stand before the answer of each exchange.
const std::vector<std::size_t> lines_before{0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 19, 22, 23};
constexpr int first_of_later_requests = 11;  // the periodic inventory's

class SummaryTest : public LibraryTest {
 protected:
    SummaryTest() {
        kept_.feature = 1;
        kept_.contact = {{"sysContact", "Ada Marlowe"},
                         {"sysContactEmail", "ada@example.net"},
                         {"sysContactPhoneNumber", "+1-555-0100"},
                         {"sysStreetAddress", "12 Harbour Road"},
                         {"siteId", "T-3"},
                         {"custId", "4711"},
                         {"contractId", "A-17"},
                         {"priority", "5"}};
        kept_.notification = 1;
        kept_.interval = 14;
        kept_.distribution = 1;
        kept_.privacy = 3;
        serve(kept_);
    }

    Outcome show() {
        platform().printed.clear();
        platform().exchanges.clear();
        platform().sends = 0;
        kept_.exchanges = 0;
        return run(callhome_show, command_);
    }
    // The line with this tag.
    std::string line(std::uint32_t tag) {
        show();
        const auto found = std::ranges::find(platform().tuples, tag, &Tuple::tag);
        const std::string value = found == platform().tuples.end() ? "no such line" : found->value;
        platform().tuples.clear();
        return value;
    }
    static Lines beginning_of_summary(std::size_t lines) {
        return {whole_summary.begin(), whole_summary.begin() + static_cast<std::ptrdiff_t>(lines)};
    }

    KeptConfiguration kept_;
    Command command_;
};

TEST_F(SummaryTest, PrintsEachSettingAsATaggedLine) {
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "") << "all output goes through the handle";
    EXPECT_EQ(platform().printed, whole_summary);
    EXPECT_EQ(platform().sends, 1);
    EXPECT_EQ(h, command_.context());
    EXPECT_STREQ(buffer, "Data-privacy : high and hostname\n") << "the last line stays";
}

TEST_F(SummaryTest, AsksOneSettingAfterAnotherWithZeroedRequests) {
    show();
    EXPECT_EQ(asked(), whole_exchange);
    for (std::size_t place = 0; place < whole_exchange.size(); ++place) {
        const Exchange& exchange = platform().exchanges.at(place);
        Bytes expected(request_lengths.at(place));
        if (exchange.opcode == 2155) {
            ContactRecord key{};
            put(key.name, callhome_info_table[place - 1].mib_name);
            expected = in_transport_order(key);
        }
        EXPECT_EQ(exchange.length, request_lengths.at(place)) << place;
        EXPECT_TRUE(exchange.handed_over == expected) << place;
        EXPECT_EQ(exchange.cmd_type, 1U);
    }
}

TEST_F(SummaryTest, SaysWhatIsSwitchedOff) {
    kept_.feature = kept_.throttle = kept_.notification = kept_.distribution = 0;
    EXPECT_EQ(line(0x30740001), "callhome disabled\n");
    EXPECT_EQ(line(0x30740013), "duplicate message throttling : disabled\n");
    EXPECT_EQ(line(0x30740014), "periodic inventory : disabled\n");
    EXPECT_EQ(line(0x30740017), "Distribution : Disabled\n");
}

TEST_F(SummaryTest, TakesEveryNumberButZeroForOn) {
    kept_.feature = 0x01000000;
    kept_.throttle = kept_.notification = kept_.distribution = 0x80000000;
    EXPECT_EQ(show().result, 0);
    EXPECT_EQ(platform().printed, whole_summary);
}

TEST_F(SummaryTest, SaysDayOnlyOfOne) {
    const std::map<std::uint32_t, std::string> periods{
        {0, "0 days"}, {1, "1 day"}, {2, "2 days"}, {0xFFFFFFFF, "-1 days"}};
    for (const auto& [days, shown] : periods) {
        kept_.interval = days;
        EXPECT_EQ(line(0x30740015), "periodic inventory time-period : " + shown + "\n");
    }
}

TEST_F(SummaryTest, PutsAZeroBeforeASingleDigitOfTheTime) {
    const std::map<std::uint32_t, std::string> times{
        {0, "00:00"},     {65, "01:05"},          {600, "10:00"},         {1439, "23:59"},
        {545, "09:05"},   {559, "09:19"},         {609, "10:09"},         {610, "10:10"},
        {6000, "100:00"}, {9000000, "150000:00"}, {0xFFFFFFFF, "00:0-1"}, {0xFFFFFF9C, "0-1:0-40"}};
    for (const auto& [minutes, shown] : times) {
        kept_.time_of_day = minutes;
        EXPECT_EQ(line(0x30740016), "periodic inventory timeofday : " + shown + " (HH:MM)\n");
    }
}

TEST_F(SummaryTest, TellsThePrivacyFromTheFlagsInTransportOrder) {
    const std::map<std::uint32_t, std::string> levels{
        {0, "normal"}, {1, "high"}, {2, "normal and hostname"}, {3, "high and hostname"}, {4, "normal"}};
    for (const auto& [flags, shown] : levels) {
        kept_.privacy = flags;
        EXPECT_EQ(line(0x30740018), "Data-privacy : " + shown + "\n");
    }
}

TEST_F(SummaryTest, ShowsAFieldWithoutAValueAsALabelAlone) {
    kept_.contact.erase("siteId");
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 0);
    Lines expected = whole_summary;
    expected[11] = "\n";
    EXPECT_EQ(platform().printed, expected);
}

TEST_F(SummaryTest, RunsOnTheActiveSupervisorOnly) {
    for (const std::uint32_t active_sup : {0U, 2U}) {
        command_.context()->active_sup = active_sup;
        cmd_type = 7;
        const auto [result, out, err] = show();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(platform().printed, Lines{"%s|0=this command is supported on active sup only\n"});
        EXPECT_EQ(platform().sends, 1);
        EXPECT_EQ(asked(), Asked{});
        EXPECT_EQ(cmd_type, 7U);
    }
}

TEST_F(SummaryTest, SaysThatThereIsNoHandle) {
    platform().has_output_handle = false;
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out.substr(0, 14), "callhome_show:");
    EXPECT_EQ(out.substr(out.find(' ')), " cli_reply_handle_from_param failed\n");
    EXPECT_EQ(asked(), Asked{});
    EXPECT_EQ(platform().sends, 0);
}

TEST_F(SummaryTest, EndsAtTheFirstRefusalWithItsNumber) {
    for (const ServiceStatus status : {5, 0x403B0010, 0x403B0032}) {
        const std::string number = std::to_string(status) + "\n";
        for (int exchange = 1; exchange <= static_cast<int>(whole_exchange.size()); ++exchange) {
            kept_.fault = {.exchange = exchange, .status = status};
            const auto [result, out, err] = show();
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out + err, "");
            Lines expected = beginning_of_summary(lines_before.at(static_cast<std::size_t>(exchange - 1)));
            // From the periodic inventory on, an empty line follows.
            expected.push_back((exchange >= first_of_later_requests ? "%s\n|0=" : "%s|0=") + number);
            EXPECT_EQ(platform().printed, expected);
            EXPECT_EQ(platform().sends, 1);
            EXPECT_EQ(platform().exchanges.size(), static_cast<std::size_t>(exchange));
        }
    }
}

TEST_F(SummaryTest, OnlyAMissingContactFieldIsNoFailure) {
    for (const int exchange : {1, 10, 11, 12, 13}) {
        kept_.fault = {.exchange = exchange, .status = 0x403B000B};
        EXPECT_EQ(show().result, 1) << exchange;
    }
}

TEST_F(SummaryTest, ShowsWhatTheBufferHeldWhenTheFirstRequestFindsDistributionOff) {
    put(buffer, "from an earlier command");
    kept_.fault = {.exchange = 1, .status = 0x403B0034};
    EXPECT_EQ(show().result, 1);
    EXPECT_EQ(platform().printed, Lines{"%s|0=from an earlier command"});
    EXPECT_EQ(platform().sends, 1);
    kept_.fault.exchange = 2;
    EXPECT_EQ(show().result, 1);
    EXPECT_EQ(platform().printed.back(), "%s|0=1077608500\n") << "a number everywhere else";
}

TEST_F(SummaryTest, EndsAtAnAnswerThatIsCutShort) {
    for (std::size_t place = 0; place < whole_exchange.size(); ++place) {
        const bool is_privacy =
            place + 1 == whole_exchange.size();  // its reply is shorter than its request
        const std::size_t whole = is_privacy ? 4 : request_lengths.at(place);
        for (std::size_t length = 0; length < whole; ++length) {
            kept_.fault = {.exchange = static_cast<int>(place) + 1, .status = 0, .length = length};
            ASSERT_EQ(show().result, 1);
            Lines expected = beginning_of_summary(lines_before.at(place));
            expected.push_back("%s|0=The answer of the call-home service was incomplete (" +
                               std::to_string(length) + " of " + std::to_string(whole) + " bytes)\n");
            ASSERT_EQ(platform().printed, expected);
            ASSERT_EQ(platform().sends, 1);
        }
    }
}

TEST_F(SummaryTest, ALongValueIsCutToTheLineBufferButKeepsItsLineEnd) {
    for (const std::size_t length : {509U, 510U, 511U, 512U, 2047U, 2048U}) {
        kept_.contact["sysStreetAddress"] = std::string(length, 'x');
        EXPECT_EQ(line(0x3074000A), std::string(std::min<std::size_t>(length, 510), 'x') + "\n");
    }
}

TEST_F(SummaryTest, PrintsPercentSignsAsTheyAre) {
    kept_.contact["siteId"] = "100%s %n";
    EXPECT_EQ(line(0x3074000C), "100%s %n\n");
}

// One field by itself.

class TableInfoTest : public LibraryTest {
 protected:
    TableInfoTest() {
        put(reply_.value, "value");
        h = &reply_;
    }
    Lines show(std::uint32_t index, ServiceStatus status) {
        platform().printed.clear();
        callhome_show_table_info(index, status, h, reinterpret_cast<const char*>(&reply_));
        return platform().printed;
    }

    ContactRecord reply_{};
};

TEST_F(TableInfoTest, PrintsALabelAndAValueUnderTagsOfTheirOwn) {
    EXPECT_EQ(show(0, 0), (Lines{"%s|30740003=contact person name(sysContact):", "%s|30740004=value\n"}));
    EXPECT_EQ(show(7, 0), (Lines{"%s|30740011=switch priority:", "%s|30740012=value\n"}));
}

TEST_F(TableInfoTest, PrintsNothingBeyondTheTable) {
    for (const std::uint32_t index : {8U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(show(index, 0), Lines{});
    }
}

TEST_F(TableInfoTest, PrintsALineEndForWhatIsNotSetAndNothingForOtherStatuses) {
    EXPECT_EQ(show(4, 0x403B000B), (Lines{"%s|3074000B=site id:", "\n"}));
    for (const ServiceStatus status : {-1, 5, 0x403B000C}) {
        EXPECT_EQ(show(4, status), Lines{"%s|3074000B=site id:"});
    }
}

TEST_F(TableInfoTest, ReadsAValueWithoutATerminatorWithinItsField) {
    std::memset(reply_.value, 'v', sizeof reply_.value);
    reply_.trailing_flag = 'x';
    EXPECT_EQ(show(0, 0).back(), "%s|30740004=" + std::string(510, 'v') + "\n");
}

TEST_F(TableInfoTest, PrintsTheLabelAloneWithoutAReply) {
    callhome_show_table_info(4, 0, h, nullptr);
    EXPECT_EQ(platform().printed, Lines{"%s|3074000B=site id:"});
}

}  // namespace
}  // namespace callhome::test
