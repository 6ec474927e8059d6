#include "command.h"
#include "platform/interface.h"
#include "protocol/records/http.h"

namespace callhome::test {
namespace {

using protocol::HttpProxyRecord;
using protocol::HttpVrfRecord;

// Everything in which the two generators are alike.
struct Generator {
    std::int32_t (*generate)(CommandContext*);
    std::string opcode;
    std::uint32_t length;
    Answer whole;  // something is configured
    Lines lines;   // and these say it
};

std::vector<Generator> generators() {
    HttpProxyRecord proxy{};
    put(proxy.server, "192.0.2.7");
    proxy.address_type = 1;
    proxy.port = 3128;
    proxy.enabled = 1;
    HttpVrfRecord vrf{};
    put(vrf.vrf_name, "red");
    return {{callhome_http_proxy_asciigen,
             "2195",
             359,
             answer(proxy),
             {"transport http proxy server 192.0.2.7 port 3128\n", "transport http proxy enable\n"}},
            {callhome_http_vrf_asciigen, "2194", 257, answer(vrf), {"transport http use-vrf red\n"}}};
}

class GenerateHttpTest : public LibraryTest {
 protected:
    Outcome generate(const Generator& row) {
        platform().exchanges.clear();
        platform().configuration_lines.clear();
        pxd_data_present = 0;
        cmd_type = 0;
        return run(row.generate, command_);
    }
    Lines lines_of(const HttpProxyRecord& proxy) {
        service_says(answer(proxy));
        EXPECT_EQ(generate(generators().at(0)).result, 0);
        return platform().configuration_lines;
    }

    Command command_;
};

TEST_F(GenerateHttpTest, WritesTheLinesOfWhatIsConfigured) {
    for (const Generator& row : generators()) {
        service_says(row.whole);
        const auto [result, out, err] = generate(row);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(platform().configuration_lines, row.lines);
        EXPECT_EQ(pxd_data_present, 1U);
        EXPECT_EQ(asked(), Asked{row.opcode + "/1"});
        EXPECT_EQ(platform().exchanges.at(0).length, row.length);
        EXPECT_TRUE(platform().exchanges.at(0).sent == Bytes(row.length)) << "a zeroed request";
        EXPECT_EQ(platform().exchanges.at(0).cmd_type, 1U);
    }
}

TEST_F(GenerateHttpTest, ReadsThePendingCopyWhenItIsToldTo) {
    print_running_config = 0;
    for (const Generator& row : generators()) {
        service_says(row.whole);
        generate(row);
        EXPECT_EQ(asked(), Asked{row.opcode + "/5"});
        EXPECT_EQ(platform().configuration_lines, row.lines);
    }
}

TEST_F(GenerateHttpTest, WritesNothingWhenTheTextIsEmpty) {
    for (const Generator& row : generators()) {
        Answer nothing = row.whole;
        nothing.reply->front() = std::byte{0};
        service_says(nothing);
        EXPECT_EQ(generate(row).result, 0);
        EXPECT_EQ(platform().configuration_lines, Lines{});
        EXPECT_EQ(pxd_data_present, 0U);
    }
}

TEST_F(GenerateHttpTest, IsSilentWhenNothingIsConfigured) {
    for (const Generator& row : generators()) {
        Answer refused = row.whole;
        refused.status = 0x403B000B;
        service_says(refused);
        const auto [result, out, err] = generate(row);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(platform().configuration_lines, Lines{});
        EXPECT_EQ(pxd_data_present, 0U);
    }
}

TEST_F(GenerateHttpTest, PassesOnThatThereIsNoPendingCopy) {
    for (const Generator& row : generators()) {
        service_refuses(0x403B0034);
        const auto [result, out, err] = generate(row);
        EXPECT_EQ(result, 0x403B0034);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(platform().configuration_lines, Lines{});
    }
}

TEST_F(GenerateHttpTest, ReportsAnyOtherRefusal) {
    for (const Generator& row : generators()) {
        for (const ServiceStatus status : {5, 0x403B000C, 0x403B0032}) {
            service_refuses(status);
            const auto [result, out, err] = generate(row);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, std::string(sys_err_to_str(status)) + "\n");
            EXPECT_EQ(err, "");
        }
    }
}

TEST_F(GenerateHttpTest, SaysThatTheConfigurationEndsWhereAnAnswerIsIncomplete) {
    for (const Generator& row : generators()) {
        for (std::size_t length = 0; length < row.length; ++length) {
            service_says(cut(row.whole, length));
            const auto [result, out, err] = generate(row);
            ASSERT_EQ(result, 1);
            ASSERT_EQ(out, "");
            ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                               " of " + std::to_string(row.length) +
                               " bytes); the running configuration ends here\n");
            ASSERT_EQ(platform().configuration_lines, Lines{});
        }
    }
}

TEST_F(GenerateHttpTest, ReadsATextWithoutATerminatorWithinItsField) {
    for (const Generator& row : generators()) {
        Answer unterminated = row.whole;
        std::fill_n(unterminated.reply->begin(), 256, std::byte{'x'});
        service_says(unterminated);
        generate(row);
        const std::string& line = platform().configuration_lines.at(0);
        EXPECT_NE(line.find(" " + std::string(256, 'x')), std::string::npos);
        EXPECT_EQ(line.find(std::string(257, 'x')), std::string::npos);
    }
}

TEST_F(GenerateHttpTest, AProxyThatIsNotInUseHasOnlyItsServerLine) {
    HttpProxyRecord proxy{};
    put(proxy.server, "100%s");
    proxy.port = 8080;
    for (const int not_in_use : {0, 2, 255}) {
        proxy.enabled = static_cast<std::uint8_t>(not_in_use);
        EXPECT_EQ(lines_of(proxy), Lines{"transport http proxy server 100%s port 8080\n"});
        EXPECT_EQ(pxd_data_present, 1U);
    }
}

TEST_F(GenerateHttpTest, AProxyWithoutAServerHasNoLineThatItIsInUse) {
    HttpProxyRecord proxy{};
    proxy.enabled = 1;
    EXPECT_EQ(lines_of(proxy), Lines{});
}

}  // namespace
}  // namespace callhome::test
