// Environment variables, profile and activity of signatures.
#include "command.h"
#include "protocol/records/signature.h"

namespace callhome::test {
namespace {

using protocol::DsActiveRecord;
using protocol::DsEnvironmentRecord;
using protocol::DsProfileRecord;

constexpr std::uint32_t profile = 103;
constexpr std::uint32_t name = 104;
constexpr std::uint32_t value = 105;

constexpr std::uint32_t environment_opcode = 312330;
constexpr std::uint32_t profile_opcode = 312329;
constexpr std::uint32_t active_opcode = 312328;

constexpr const char* exchange_failed = "Failed to run this command due to mts error.\n";

using Handler = std::uint32_t (*)(CommandContext*);

constexpr Handler handlers[] = {ch_config_gch_ds_environment, ch_config_gch_ds_profile,
                                ch_config_gch_ds_active};

DsEnvironmentRecord variable(std::string_view variable_name, std::string_view variable_value = {}) {
    DsEnvironmentRecord record{};
    put(record.name, variable_name);
    put(record.value, variable_value);
    return record;
}

DsProfileRecord profile_named(std::string_view profile_name) {
    DsProfileRecord record{};
    put(record.profile_name, profile_name);
    return record;
}

class SignatureConfigurationTest : public LibraryTest {
 protected:
    template <typename Record>
    static void expect_sent(std::uint32_t opcode, std::uint32_t operation, const Record& expected) {
        const Exchange& last = platform().exchanges.back();
        EXPECT_EQ(last.opcode, opcode);
        EXPECT_EQ(last.operation, operation);
        EXPECT_EQ(last.length, sizeof(Record));
        EXPECT_EQ(last.wants_reply, opcode != active_opcode);
        EXPECT_EQ(last.cmd_type, 2U);
        EXPECT_TRUE(last.sent == in_transport_order(expected));
    }

    // The two settings that are answered by a record, refused with `result` by the service.
    static std::vector<std::pair<Handler, Answer>> refused(std::uint32_t result) {
        DsEnvironmentRecord environment{};
        environment.status = result;
        DsProfileRecord named{};
        named.status = result;
        return {{ch_config_gch_ds_environment, answer(environment)},
                {ch_config_gch_ds_profile, answer(named)}};
    }

    Command command_;
};

TEST_F(SignatureConfigurationTest, SetsAVariable) {
    service_says(answer(variable("")));
    command_.text(name, "ds_if").text(value, "eth0, and \"more\"");
    const auto [result, out, err] = run(ch_config_gch_ds_environment, command_);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(environment_opcode, 3, variable("ds_if", "eth0, and \"more\""));
    EXPECT_EQ(platform().exchanges.back().length, 149U);
}

TEST_F(SignatureConfigurationTest, RemovesAVariableWithOrWithoutItsValue) {
    run(ch_config_gch_ds_environment, command_.no().text(name, "ds_if"));
    expect_sent(environment_opcode, 4, variable("ds_if"));
    run(ch_config_gch_ds_environment, command_.text(value, "eth0"));
    expect_sent(environment_opcode, 4, variable("ds_if", "eth0"));
}

TEST_F(SignatureConfigurationTest, CutsAVariableToItsFields) {
    for (const std::size_t beyond : {0U, 1U, 9000U}) {
        Command command;
        command.text(name, std::string(15 + beyond, 'n')).text(value, std::string(127 + beyond, 'v'));
        run(ch_config_gch_ds_environment, command);
        expect_sent(environment_opcode, 3, variable(std::string(15, 'n'), std::string(127, 'v')));
    }
}

TEST_F(SignatureConfigurationTest, SetsAndRemovesAProfile) {
    service_says(answer(profile_named("")));
    const auto [result, out, err] = run(ch_config_gch_ds_profile, command_.text(profile, "noc"));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(profile_opcode, 3, profile_named("noc"));
    EXPECT_EQ(platform().exchanges.back().length, 37U);
    run(ch_config_gch_ds_profile, command_.no());
    expect_sent(profile_opcode, 4, profile_named("noc"));
}

TEST_F(SignatureConfigurationTest, CutsAProfileTo31Characters) {
    for (const std::size_t length : {31U, 32U, 9000U}) {
        Command command;
        run(ch_config_gch_ds_profile, command.text(profile, std::string(length, 'p')));
        expect_sent(profile_opcode, 3, profile_named(std::string(31, 'p')));
    }
}

TEST_F(SignatureConfigurationTest, LetsLaterTokensWinAndOtherOnesAlone) {
    Command environment;
    environment.text(value, "a long value").text(name, "ds_long").text(profile, "noc").null_token();
    run(ch_config_gch_ds_environment, environment.text(name, "ds_a").text(value, "b"));
    expect_sent(environment_opcode, 3, variable("ds_a", "b"));
    Command names;
    run(ch_config_gch_ds_profile, names.text(profile, "a long name").text(name, "ds_a").text(profile, "b"));
    expect_sent(profile_opcode, 3, profile_named("b"));
    Command without_values;
    run(ch_config_gch_ds_environment, without_values.text(name, "ds_a").keyword(name).keyword(value));
    EXPECT_EQ(text(platform().exchanges.back().record<DsEnvironmentRecord>().name), "");
}

TEST_F(SignatureConfigurationTest, LetsSignaturesRunOrNot) {
    const auto [result, out, err] = run(ch_config_gch_ds_active, command_.text(profile, "noc"));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(active_opcode, 3, DsActiveRecord{.active = 1, .reserved = {}});
    EXPECT_EQ(platform().exchanges.back().length, 5U);
    EXPECT_EQ(run(ch_config_gch_ds_active, command_.no()).result, 0);
    expect_sent(active_opcode, 3, DsActiveRecord{.active = 0, .reserved = {}});
}

TEST_F(SignatureConfigurationTest, SaysWhyTheServiceRefusesAndIsDone) {
    const std::map<std::uint32_t, std::string> texts{{17, "Call-home profile not found in database.\n"},
                                                     {1027, "DS variable's name is invalid.\n"},
                                                     {999, "Unknown error code.\n"}};
    for (const auto& [status, expected] : texts) {
        for (const auto& [handler, refusal] : refused(status)) {
            service_says(refusal);
            const auto [result, out, err] = run(handler, command_);
            EXPECT_EQ(result, 0);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, expected);
        }
    }
}

TEST_F(SignatureConfigurationTest, SaysTheSameOfEveryFailedExchange) {
    for (const Handler handler : handlers) {
        for (const ServiceStatus status : {5, 0x403B0001, 0x403B0010}) {
            service_says({.status = status, .reply = Bytes(sizeof(DsEnvironmentRecord))});
            const auto [result, out, err] = run(handler, command_);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, exchange_failed);
        }
    }
}

TEST_F(SignatureConfigurationTest, FailsWithoutAWholeReply) {
    for (const auto& [handler, refusal] : refused(1027)) {
        service_says({});
        EXPECT_EQ(run(handler, command_).err, exchange_failed);
        for (std::size_t length = 0; length < refusal.reply->size(); ++length) {
            service_says(cut(refusal, length));
            const auto [result, out, err] = run(handler, command_);
            EXPECT_EQ(result, 1) << length;
            EXPECT_EQ(err, exchange_failed) << length;
        }
    }
}

TEST_F(SignatureConfigurationTest, RunsOnTheActiveSupervisorOnlyAlsoInTheNoForm) {
    for (const Handler handler : handlers) {
        for (const std::uint32_t no_form : {0U, 1U}) {
            command_.context()->active_sup = 0;
            command_.context()->no_form = no_form;
            const auto [result, out, err] = run(handler, command_);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, "This command is supported on active sup only.\n");
        }
    }
    EXPECT_EQ(asked(), Asked{});
}

TEST_F(SignatureConfigurationTest, IsAConfigurationCommandBeforeAnyCheckWhenItActivates) {
    command_.context()->active_sup = 0;
    run(ch_config_gch_ds_active, command_);
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(SignatureConfigurationTest, SaysOfALostTransportThatAConfigurationCommandRan) {
    for (const Handler handler : handlers) {
        platform().answers = {{.status = -1, .error_number = 32}};
        EXPECT_EXIT(handler(command_.context()), testing::ExitedWithCode(1),
                    "transport lost: class 2 errno 32");
    }
}

}  // namespace
}  // namespace callhome::test
