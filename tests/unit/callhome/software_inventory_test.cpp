#include "command.h"
#include "protocol/records/inventory.h"

namespace callhome::test {
namespace {

using protocol::SoftwareRecord;

constexpr std::size_t record_size = 259;

class SoftwareInventoryTest : public LibraryTest {
 protected:
    Outcome show() { return run(callhome_show_sw_inventory, command_); }

    // A reply whose texts follow the record; `pairs` is what the record says of them.
    static Answer software(std::string_view name, std::uint32_t pairs, std::string_view texts = {}) {
        SoftwareRecord record{};
        put(record.name, name);
        record.pairs = pairs;
        Answer whole = answer(record);
        for (const char character : texts) {
            whole.reply->push_back(static_cast<std::byte>(character));
        }
        return whole;
    }
    static std::string incomplete(int got, std::uint32_t pairs) {
        return "The answer of the call-home service was incomplete (" + std::to_string(got) + " of " +
               std::to_string(pairs) + " pairs of ntpd); the list ends here\n";
    }

    static constexpr std::string_view two_pairs{
        "version\0"
        "1.2\0"
        "state\0"
        "up\0",
        21};

    Command command_;
};

TEST_F(SoftwareInventoryTest, ListsEachPieceWithItsPairs) {
    service_says(software("ntpd", 2, two_pairs));
    service_says(software("sshd", 0));
    service_says(software("100%s", 1, {"\0\0", 2}));
    service_refuses(0x403B000C);
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out,
              "Software Inventory\n"
              "\nService Name : ntpd\n"
              "Name : version - Value : 1.2\n"
              "Name : state - Value : up\n"
              "\nService Name : sshd\n"
              "\nService Name : 100%s\n"
              "Name :  - Value : \n"
              "\n");
    EXPECT_EQ(err, "");
    EXPECT_EQ(cmd_type, 1U);
}

TEST_F(SoftwareInventoryTest, AsksForTheNextPieceByTheNameOfTheLast) {
    service_says(software("a long name", 2, two_pairs));
    service_says(software("b", 2, two_pairs));
    service_refuses(0x403B000C);
    show();
    const std::vector<std::string> names{"", "a long name", "b"};
    ASSERT_EQ(asked(), (Asked{"2172/2", "2172/2", "2172/2"}));
    for (std::size_t step = 0; step < names.size(); ++step) {
        SoftwareRecord key{};
        put(key.name, names[step]);
        EXPECT_EQ(platform().exchanges[step].length, record_size);
        EXPECT_TRUE(platform().exchanges[step].wants_reply);
        EXPECT_TRUE(platform().exchanges[step].sent == in_transport_order(key)) << step;
        EXPECT_EQ(platform().exchanges[step].cmd_type, 1U);
    }
}

TEST_F(SoftwareInventoryTest, PrintsAnEmptyLineForAnEmptyList) {
    service_refuses(0x403B000C);
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, "Software Inventory\n\n");
    EXPECT_EQ(err, "");
}

TEST_F(SoftwareInventoryTest, ReportsARefusal) {
    for (const bool first : {true, false}) {
        if (!first) {
            service_says(software("ntpd", 0));
        }
        service_says(software("not to be seen", 0));
        platform().answers.back().status = 0x403B000B;
        const auto [result, out, err] = show();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, std::string("Software Inventory\n") + (first ? "" : "\nService Name : ntpd\n") +
                           not_found_text);
        EXPECT_EQ(err, "");
    }
}

TEST_F(SoftwareInventoryTest, PrintsOnlyThePairsThatCameWhole) {
    const Answer whole = software("ntpd", 2, two_pairs);
    for (std::size_t length = record_size; length < whole.reply->size(); ++length) {
        service_says(cut(whole, length));
        const auto [result, out, err] = show();
        // The first pair ends with the twelfth byte of the texts.
        const bool has_first = length - record_size >= 12;
        ASSERT_EQ(result, 1);
        ASSERT_EQ(out, std::string("Software Inventory\n\nService Name : ntpd\n") +
                           (has_first ? "Name : version - Value : 1.2\n" : ""));
        ASSERT_EQ(err, incomplete(has_first ? 1 : 0, 2)) << length;
    }
}

TEST_F(SoftwareInventoryTest, EndsAtACountThatLies) {
    for (const std::uint32_t pairs : {3U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        service_says(software("ntpd", pairs, two_pairs));
        const auto [result, out, err] = show();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out.substr(out.size() - 26), "Name : state - Value : up\n");
        EXPECT_EQ(err, incomplete(2, pairs));
    }
}

TEST_F(SoftwareInventoryTest, LeavesTextsBeyondTheCountAlone) {
    service_says(software("ntpd", 1, two_pairs));
    service_refuses(0x403B000C);
    EXPECT_EQ(show().out, "Software Inventory\n\nService Name : ntpd\nName : version - Value : 1.2\n\n");
}

TEST_F(SoftwareInventoryTest, EndsWhereARecordIsIncomplete) {
    for (std::size_t length = 0; length < record_size; ++length) {
        service_says(cut(software("ntpd", 2, two_pairs), length));
        const auto [result, out, err] = show();
        ASSERT_EQ(result, 1);
        ASSERT_EQ(out, "Software Inventory\n");
        ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 259 bytes); the list ends here\n");
    }
}

TEST_F(SoftwareInventoryTest, EndsWhenTheSamePieceComesAgain) {
    for (const std::string& name : {std::string("ntpd"), std::string(), std::string(255, 'n')}) {
        platform() = Platform{};
        for (int round = 0; round < 10; ++round) {
            service_says(software(name, 0));
        }
        const auto [result, out, err] = show();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(err, "The list of software has no end; the list ends here\n");
        EXPECT_LE(platform().exchanges.size(), 2U);
    }
}

TEST_F(SoftwareInventoryTest, EndsAWalkThatGoesInCircles) {
    for (int round = 0; round < 40000; ++round) {
        service_says(software("a", 0));
        service_says(software("b", 0));
    }
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(err, "The list of software has no end; the list ends here\n");
    EXPECT_FALSE(platform().answers.empty());
}

TEST_F(SoftwareInventoryTest, ReadsANameWithoutATerminatorWithinItsField) {
    service_says(software(std::string(255, 'n'), 0x6E6E6E6E, "nnnn"));
    const auto [result, out, err] = show();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "Software Inventory\n\nService Name : " + std::string(255, 'n') + "\n");
}

TEST_F(SoftwareInventoryTest, CutsSuchANameForTheKey) {
    service_says(software(std::string(255, 'n'), 0));
    service_refuses(0x403B000C);
    show();
    EXPECT_EQ(text(platform().exchanges.at(1).record<SoftwareRecord>().name), std::string(254, 'n'));
}

}  // namespace
}  // namespace callhome::test
