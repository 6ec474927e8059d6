#include <algorithm>
#include <functional>

#include "command.h"
#include "kept_configuration.h"
#include "platform/interface.h"

namespace callhome::test {
namespace {

class RunningConfigTest : public LibraryTest {
 protected:
    RunningConfigTest() { serve(kept_); }

    template <typename Generator>
    Outcome generate(Generator generator) {
        platform().configuration_lines.clear();
        platform().exchanges.clear();
        platform().calls.clear();
        kept_.exchanges = 0;
        return run(generator, command_);
    }
    static const Lines& lines() { return platform().configuration_lines; }

    KeptConfiguration kept_ = built_in_configuration();
    Command command_;
};

// The global settings.

class GlobalLinesTest : public RunningConfigTest {
 protected:
    Outcome generate() {
        pxd_data_present = 0;
        pxd_dist_enabled = 0;
        return RunningConfigTest::generate(callhome_info_asciigen);
    }
};

TEST_F(GlobalLinesTest, WritesEverySettingThatIsNoDefaultInOneOrder) {
    kept_.contact = {{"sysContact", "Ada Marlowe"},
                     {"sysContactEmail", "ada@example.net"},
                     {"sysContactPhoneNumber", "+1-555-0100"},
                     {"sysStreetAddress", "12  Harbour Road"},
                     {"siteId", "T-3"},
                     {"custId", "4711"},
                     {"contractId", "100%s"},
                     {"priority", "5"}};
    kept_.feature = kept_.notification = kept_.distribution = 1;
    kept_.throttle = 0;
    kept_.interval = 14;
    kept_.time_of_day = 65;
    cmd_type = 7;
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(lines(), (Lines{
                           "email-contact ada@example.net\n",
                           "phone-contact +1-555-0100\n",
                           "streetaddress 12  Harbour Road\n",
                           "site-id T-3\n",
                           "customer-id 4711\n",
                           "contract-id 100%s\n",
                           "switch-priority 5\n",
                           "no duplicate-message throttle\n",
                           "periodic-inventory notification\n",
                           "periodic-inventory notification interval  14\n",
                           "periodic-inventory notification timeofday  01:05\n",
                           "enable\n",
                       }));
    EXPECT_EQ(asked(), (Asked{"2177/1", "2155/1", "2155/1", "2155/1", "2155/1", "2155/1", "2155/1",
                              "2155/1", "2155/1", "2173/1", "2175/1", "2156/1"}));
    const std::vector<std::uint32_t> lengths{4, 2305, 2305, 2305, 2305, 2305, 2305, 2305, 2305, 5, 13, 5};
    for (std::size_t place = 0; place < lengths.size(); ++place) {
        const Exchange& exchange = platform().exchanges.at(place);
        Bytes expected(lengths[place]);
        if (exchange.opcode == 2155) {
            ContactRecord key{};
            put(key.name, callhome_info_table[place - 1].mib_name);
            expected = in_transport_order(key);
        }
        EXPECT_TRUE(exchange.handed_over == expected) << place;
        EXPECT_EQ(exchange.length, lengths[place]);
        EXPECT_EQ(exchange.cmd_type, 1U);
    }
    EXPECT_EQ(pxd_data_present, 1U);
    EXPECT_EQ(pxd_dist_enabled, 1U);
}

TEST_F(GlobalLinesTest, OfTheDefaultsOnlyThrottlingAndPeriodicInventoryHaveLines) {
    kept_.contact = {{"sysContact", "Ada Marlowe"}, {"siteId", ""}, {"priority", "7"}};
    EXPECT_EQ(generate().result, 0);
    EXPECT_EQ(lines(), (Lines{"duplicate-message throttle\n", "no periodic-inventory notification\n"}));
    EXPECT_EQ(pxd_data_present, 0U) << "neither is data to commit";
    EXPECT_EQ(pxd_dist_enabled, 0U);
}

TEST_F(GlobalLinesTest, EachLineThatIsNoDefaultMarksDataByItself) {
    const std::vector<std::function<void()>> changes{
        [this] { kept_.contact["custId"] = "4711"; },
        [this] { kept_.contact["priority"] = "8"; },
        [this] { kept_.throttle = 0; },
        [this] { kept_.notification = 1; },
        [this] { kept_.interval = 8; },
        [this] { kept_.time_of_day = 481; },
        [this] { kept_.feature = 1; },
    };
    for (const auto& change : changes) {
        kept_ = built_in_configuration();
        change();
        generate();
        EXPECT_EQ(pxd_data_present, 1U) << testing::PrintToString(lines());
    }
}

TEST_F(GlobalLinesTest, OnlyThePrioritySevenIsADefault) {
    for (const char* priority : {"07", "8", "7 ", "77", "0"}) {
        kept_.contact = {{"priority", priority}};
        generate();
        EXPECT_EQ(lines().front(), std::string("switch-priority ") + priority + "\n");
    }
    kept_.contact = {{"siteId", "7"}};
    generate();
    EXPECT_EQ(lines().front(), "site-id 7\n");
}

TEST_F(GlobalLinesTest, TellsThePriorityByTheNameInTheReply) {
    kept_.contact = {{"siteId", "7"}};
    platform().service = [](const Exchange& exchange) {
        ContactRecord record{};
        put(record.name, "priority");
        put(record.value, "7");
        return exchange.opcode == 2155 ? answer(record) : refusal(0x403B000B);
    };
    generate();
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(GlobalLinesTest, PutsAZeroBeforeASingleDigitOfTheTimeAndCutsItToFiveCharacters) {
    const std::map<std::uint32_t, std::string> times{
        {0, "00:00"},   {65, "01:05"},   {600, "10:00"},   {1439, "23:59"},      {545, "09:05"},
        {481, "08:01"}, {6000, "100:0"}, {90000, "1500:"}, {0xFFFFFFFF, "00:0-"}};
    for (const auto& [minutes, shown] : times) {
        kept_.time_of_day = minutes;
        generate();
        EXPECT_EQ(lines().back(), "periodic-inventory notification timeofday  " + shown + "\n");
    }
}

TEST_F(GlobalLinesTest, TheIntervalIsSigned) {
    kept_.interval = 0xFFFFFFFF;
    generate();
    EXPECT_EQ(lines().back(), "periodic-inventory notification interval  -1\n");
}

TEST_F(GlobalLinesTest, KeepsTheWordOfTheDistribution) {
    kept_.distribution = 2;
    generate();
    EXPECT_EQ(pxd_dist_enabled, 2U);
}

TEST_F(GlobalLinesTest, ReadsThePendingCopyWhenItIsToldTo) {
    print_running_config = 0;
    EXPECT_EQ(generate().result, 0);
    EXPECT_EQ(asked(), (Asked{"2177/5", "2155/5", "2155/5", "2155/5", "2155/5", "2155/5", "2155/5",
                              "2155/5", "2155/5", "2173/5", "2175/5", "2156/5"}));
}

TEST_F(GlobalLinesTest, WhatTheServiceDoesNotKnowHasNoLines) {
    kept_.refusals = {{2177, 0x403B000B}, {2155, 0x403B000B}, {2156, 0x403B000B}};
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(pxd_dist_enabled, 0U);
    for (const std::uint32_t opcode : {2173U, 2175U}) {
        kept_.refusals = {{opcode, 0x403B000B}};
        EXPECT_EQ(generate().result, 1) << "these two are always known";
    }
}

constexpr int global_exchanges = 12;
// Lines before the answer of each exchange, without contact information.
const std::vector<std::size_t> lines_before{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2};

TEST_F(GlobalLinesTest, PassesOnThatThereIsNoPendingCopy) {
    for (int exchange = 1; exchange <= global_exchanges; ++exchange) {
        kept_.fault = {.exchange = exchange, .status = 0x403B0034};
        const auto [result, out, err] = generate();
        EXPECT_EQ(result, 0x403B0034);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(lines().size(), lines_before.at(static_cast<std::size_t>(exchange - 1)));
        EXPECT_EQ(platform().exchanges.size(), static_cast<std::size_t>(exchange));
    }
}

TEST_F(GlobalLinesTest, EndsAtTheFirstRefusalAndNamesAContactField) {
    for (const ServiceStatus status : {5, 0x403B000C, 0x403B0032}) {
        for (int exchange = 1; exchange <= global_exchanges; ++exchange) {
            kept_.fault = {.exchange = exchange, .status = status};
            const auto [result, out, err] = generate();
            EXPECT_EQ(result, 1);
            const bool of_contact = exchange >= 2 && exchange <= 9;
            const std::string field = of_contact ? std::string("Could not get value for ") +
                                                       callhome_info_table[exchange - 2].mib_name + "\n"
                                                 : "";
            EXPECT_EQ(out, field + sys_err_to_str(status) + "\n");
            EXPECT_EQ(err, "");
            EXPECT_EQ(lines().size(), lines_before.at(static_cast<std::size_t>(exchange - 1)));
        }
    }
}

TEST_F(GlobalLinesTest, EndsAtAnAnswerThatIsCutShort) {
    kept_.contact = {{"sysContact", "Ada Marlowe"}};
    const std::map<int, std::size_t> answers{{1, 4}, {2, 2305}, {10, 5}, {11, 13}, {12, 5}};
    for (const auto& [exchange, whole] : answers) {
        for (std::size_t length = 0; length < whole; ++length) {
            kept_.fault = {.exchange = exchange, .status = 0, .length = length};
            const auto [result, out, err] = generate();
            ASSERT_EQ(result, 1);
            ASSERT_EQ(out, "");
            ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                               " of " + std::to_string(whole) +
                               " bytes); the running configuration ends here\n");
        }
    }
}

TEST_F(GlobalLinesTest, ReadsAValueWithoutATerminatorWithinItsField) {
    kept_.contact = {{"custId", std::string(5000, 'c')}};
    generate();
    EXPECT_EQ(lines().front(), "customer-id " + std::string(2048, 'c') + "\n");
}

// The driver.

const Asked all_opcodes{"2177", "2155", "2173", "2175", "2156", "2154", "2153", "2162", "2154", "2153",
                        "2162", "2154", "2153", "2162", "2154", "2152", "2193", "2194", "2195"};

class DriverTest : public RunningConfigTest {
 protected:
    DriverTest() { platform().shows_configuration = true; }

    Outcome generate() { return RunningConfigTest::generate(callhome_asciigen); }

    // A configuration with one line that is no default, to be committed.
    void distribute() {
        kept_.distribution = 1;
        kept_.feature = 1;
    }

    // The opcodes that were asked for, each once for requests that follow one another.
    static Asked opcodes() {
        Asked result;
        for (const Exchange& exchange : platform().exchanges) {
            const std::string opcode = std::to_string(exchange.opcode);
            if (result.empty() || result.back() != opcode) {
                result.push_back(opcode);
            }
        }
        return result;
    }

    // What the defaults look like on a terminal; the empty lines stand behind the built-in profiles.
    const std::string defaults_ = "duplicate-message throttle\nno periodic-inventory notification\n";
    const std::string profiles_ = "\n\n\n";
};

TEST_F(DriverTest, RunsTheGeneratorsInTheirOrder) {
    cmd_type = 7;
    print_running_config = 0;
    pxd_data_present = 1;
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, defaults_ + profiles_);
    EXPECT_EQ(err, "");
    EXPECT_EQ(opcodes(), all_opcodes) << "without the user-defined commands";
    EXPECT_EQ(platform().calls.front(), "cfgout init");
    EXPECT_EQ(platform().configuration_request, command_.context());
    EXPECT_EQ(print_running_config, 1U) << "it reads the effective copy";
    EXPECT_EQ(pxd_data_present, 0U) << "set by this run alone";
    for (const Exchange& exchange : platform().exchanges) {
        EXPECT_TRUE(exchange.operation == 1 || exchange.operation == 2);
        EXPECT_EQ(exchange.cmd_type, 1U);
    }
}

TEST_F(DriverTest, WritesNothingWhileAMessageIsProcessed) {
    files().marker_stands = true;
    platform().frames_configuration = true;
    platform().configuration_count = 3;
    print_running_config = 0;
    pxd_data_present = pxd_dist_enabled = 5;
    cmd_type = 7;
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(platform().calls, Lines{"cfgout init"});
    EXPECT_EQ(cmd_type, 1U);
    EXPECT_EQ(pxd_data_present, 5U);
    EXPECT_EQ(pxd_dist_enabled, 5U);
    EXPECT_EQ(print_running_config, 0U);
}

TEST_F(DriverTest, GoesOnWhenAGeneratorFails) {
    for (const ServiceStatus status : {0x403B0010, 0x403B0034}) {
        for (const std::uint32_t opcode : {2177U, 2154U, 2152U, 2194U, 2195U}) {
            kept_.refusals = {{opcode, status}};
            EXPECT_EQ(generate().result, 0);
            EXPECT_EQ(opcodes().back(), "2195");
        }
    }
}

TEST_F(DriverTest, EndsADistributedConfigurationWithACommit) {
    distribute();
    const auto [result, out, err] = generate();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, defaults_ + "enable\n" + profiles_ + "  commit\n");
    EXPECT_EQ(std::ranges::count(platform().calls, "cfgout punch"), 0) << "without a frame";
}

TEST_F(DriverTest, IndentsTheCommitByTwoBlanksALevelDownToSixteenLevels) {
    distribute();
    for (unsigned depth = 0; depth <= 255; ++depth) {
        command_.context()->config_depth = static_cast<std::uint8_t>(depth);
        const unsigned level = depth / 2 + 1;
        const std::string commit = std::string(2 * std::size_t{level}, ' ') + "commit\n";
        EXPECT_EQ(generate().out, defaults_ + "enable\n" + profiles_ + (level <= 16 ? commit : ""));
    }
}

TEST_F(DriverTest, CommitsOnlyWhatIsDistributedAndNoDefault) {
    kept_.distribution = 1;
    EXPECT_EQ(generate().out, defaults_ + profiles_) << "throttling has a line but is a default";
    kept_.feature = 1;
    kept_.distribution = 0;
    EXPECT_EQ(generate().out, defaults_ + "enable\n" + profiles_);
}

TEST_F(DriverTest, InAFrameTheModeLineComesBeforeTheCommitAndAnEmptyLineBehindIt) {
    distribute();
    platform().frames_configuration = true;
    EXPECT_EQ(generate().out, defaults_ + "enable\n" + profiles_ + "mode line\n  commit\n\n");
    platform().configuration_count = 0;
    EXPECT_EQ(generate().out, defaults_ + "enable\n" + profiles_ + "\nmode line\n  commit\n");
}

TEST_F(DriverTest, AFrameWithoutACommitEndsWithAnEmptyLineUnlessItIsEmpty) {
    platform().frames_configuration = true;
    EXPECT_EQ(generate().out, defaults_ + profiles_ + "\n");
    platform().configuration_count = 0;
    EXPECT_EQ(generate().out, defaults_ + profiles_);
    EXPECT_EQ(std::ranges::count(platform().calls, "cfgout punch"), 0);
}

TEST_F(DriverTest, ALevelThatIsTooDeepStillEndsTheFrame) {
    distribute();
    platform().frames_configuration = true;
    command_.context()->config_depth = 32;
    EXPECT_EQ(generate().out, defaults_ + "enable\n" + profiles_ + "\n");
    EXPECT_EQ(std::ranges::count(platform().calls, "cfgout punch"), 0);
}

// The configuration without the driver.

class PrintConfigTest : public DriverTest {
 protected:
    Outcome print() { return RunningConfigTest::generate(print_calhome_config); }
};

TEST_F(PrintConfigTest, WritesTheUserCommandsLastAndNeitherFrameNorCommit) {
    distribute();
    platform().frames_configuration = true;
    const auto [result, out, err] = print();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, defaults_ + "enable\n" + profiles_ + "\n") << "the last line ends the user commands";
    EXPECT_EQ(err, "");
    Asked expected = all_opcodes;
    expected.push_back("2185");
    EXPECT_EQ(opcodes(), expected);
    for (const std::string& call : platform().calls) {
        EXPECT_NE(call.substr(0, 6), "cfgout") << call;
    }
}

TEST_F(PrintConfigTest, TouchesNoFlagAndLooksAtNoFile) {
    files().marker_stands = true;
    pxd_data_present = 5;
    print_running_config = 0;
    EXPECT_EQ(print().result, 0);
    EXPECT_EQ(pxd_data_present, 5U);
    EXPECT_EQ(print_running_config, 0U);
    for (const Exchange& exchange : platform().exchanges) {
        EXPECT_TRUE(exchange.operation == 5 || exchange.operation == 6) << exchange.opcode;
    }
}

TEST_F(PrintConfigTest, StopsAtTheFirstResultThatIsNotZero) {
    struct Stop {
        std::uint32_t opcode;
        ServiceStatus status;
        std::int64_t result;
    };
    for (const auto& [opcode, status, expected] :
         {Stop{2177, 0x403B0034, 0x403B0034}, Stop{2177, 0x403B0010, 1}, Stop{2154, 0x403B0034, 0x403B0034},
          Stop{2154, 0x403B000B, 1}, Stop{2162, 5, 1}, Stop{2152, 0x403B0034, 0x403B0034}, Stop{2193, 5, 1},
          Stop{2194, 0x403B0034, 0x403B0034}, Stop{2195, 5, 1}, Stop{2185, 0x403B0010, 0x403B0010}}) {
        kept_.refusals = {{opcode, status}};
        EXPECT_EQ(print().result, expected);
        EXPECT_EQ(opcodes().back(), std::to_string(opcode));
    }
}

}  // namespace
}  // namespace callhome::test
