// Loading, downloading and removing signatures, and clearing their statistics.
#include "command.h"
#include "protocol/records/signature.h"

namespace callhome::test {
namespace {

using protocol::DsActionRecord;
using protocol::DsStatsClearRecord;

constexpr std::uint32_t signature_id = 107;
constexpr std::uint32_t all = 108;
constexpr std::uint32_t file = 109;
constexpr std::uint32_t run_time = 138;
constexpr std::uint32_t downloads = 139;

constexpr std::uint32_t deinstall_action = 30;
constexpr std::uint32_t download_action = 31;
constexpr std::uint32_t load_action = 34;

constexpr const char* exchange_failed = "Failed to run this command due to mts error.\n";

using Handler = std::uint32_t (*)(CommandContext*);

constexpr Handler actions[] = {ch_exec_gch_ds_load_file, ch_exec_gch_ds_download, ch_exec_gch_ds_deinstall};
constexpr Handler exec_commands[] = {ch_exec_gch_ds_load_file, ch_exec_gch_ds_download,
                                     ch_exec_gch_ds_deinstall, ch_exec_gch_ds_install,
                                     ch_clear_gch_ds_statistics};

DsActionRecord action(std::uint32_t number, std::uint32_t id = 0, std::string_view name = {}) {
    DsActionRecord record{};
    record.action = number;
    record.ds_id = id;
    put(record.file_name, name);
    return record;
}

DsActionRecord outcome(std::uint32_t status) {
    DsActionRecord record{};
    record.status = status;
    return record;
}

class SignatureActionTest : public LibraryTest {
 protected:
    static void expect_sent(const DsActionRecord& expected) {
        const Exchange& last = platform().exchanges.back();
        EXPECT_EQ(last.opcode, 312332U);
        EXPECT_EQ(last.operation, 3U);
        EXPECT_EQ(last.length, 217U);
        EXPECT_TRUE(last.wants_reply);
        EXPECT_EQ(last.cmd_type, 1U);
        EXPECT_TRUE(last.sent == in_transport_order(expected))
            << "action " << last.record<DsActionRecord>().action << " of "
            << last.record<DsActionRecord>().ds_id << " " << text(last.record<DsActionRecord>().file_name);
    }

    Command command_;
};

TEST_F(SignatureActionTest, LoadsAFile) {
    service_says(answer(outcome(0)));
    const auto [result, out, err] = run(ch_exec_gch_ds_load_file, command_.text(file, "/tmp/link.xml"));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(action(load_action, 0, "/tmp/link.xml"));
}

TEST_F(SignatureActionTest, CutsAFileNameTo200Characters) {
    for (const std::size_t length : {200U, 201U, 9000U}) {
        Command command;
        run(ch_exec_gch_ds_load_file, command.text(file, std::string(length, 'x')));
        expect_sent(action(load_action, 0, std::string(200, 'x')));
    }
}

TEST_F(SignatureActionTest, TakesTheLastFileAndNothingElseWhenItLoads) {
    command_.text(file, "/a/long/name").keyword(all).text(file, "b").null_token().number(signature_id, 7U);
    run(ch_exec_gch_ds_load_file, command_);
    expect_sent(action(load_action, 0, "b"));
}

TEST_F(SignatureActionTest, LoadsNoNameWhenNoneIsGiven) {
    run(ch_exec_gch_ds_load_file, command_.text(file, "a").keyword(file));
    expect_sent(action(load_action));
}

TEST_F(SignatureActionTest, DownloadsAndRemovesOneSignature) {
    const std::map<Handler, std::uint32_t> numbers{{ch_exec_gch_ds_download, download_action},
                                                   {ch_exec_gch_ds_deinstall, deinstall_action}};
    for (const auto& [handler, number] : numbers) {
        for (const std::uint32_t id : {1U, 6030U, 0xFFFFFFFFU}) {
            Command command;
            service_says(answer(outcome(0)));
            const auto [result, out, err] = run(handler, command.number(signature_id, id));
            EXPECT_EQ(result, 0);
            EXPECT_EQ(out + err, "");
            expect_sent(action(number, id));
        }
        Command command;
        run(handler, command.keyword(all));
        expect_sent(action(number, 0));
    }
}

TEST_F(SignatureActionTest, LetsTheLastOfASignatureAndAllWin) {
    Command all_last;
    run(ch_exec_gch_ds_download, all_last.number(signature_id, 7U).keyword(all).text(file, "a"));
    expect_sent(action(download_action, 0));
    Command one_last;
    run(ch_exec_gch_ds_deinstall, one_last.keyword(all).null_token().number(signature_id, 7U).keyword(106));
    expect_sent(action(deinstall_action, 7));
    Command without_number;
    run(ch_exec_gch_ds_deinstall, without_number.number(signature_id, 7U).keyword(signature_id));
    expect_sent(action(deinstall_action, 7));
}

TEST_F(SignatureActionTest, SaysWhyTheServiceRefusesAndIsDone) {
    const std::map<std::uint32_t, std::string> texts{{1, "Call-home generic error.\n"},
                                                     {1017, "DS does not exist.\n"},
                                                     {1032, "Failed to verify DS sign.\n"},
                                                     {0xFFFFFFFF, "Unknown error code.\n"}};
    for (const Handler handler : actions) {
        for (const auto& [status, expected] : texts) {
            service_says(answer(outcome(status)));
            const auto [result, out, err] = run(handler, command_);
            EXPECT_EQ(result, 0);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, expected);
        }
    }
}

TEST_F(SignatureActionTest, FailsWithoutAReplyAndWhateverComesWithARefusal) {
    const Answer failures[] = {Answer{}, refusal(5), refusal(protocol::Status::not_found),
                               answer(outcome(0), 0x403B0001), answer(outcome(1017), 5)};
    for (const Handler handler : actions) {
        for (const Answer& failure : failures) {
            service_says(failure);
            const auto [result, out, err] = run(handler, command_);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, exchange_failed);
        }
    }
}

TEST_F(SignatureActionTest, FailsWhenTheReplyEndsBeforeItsRecord) {
    for (const Handler handler : actions) {
        for (std::size_t length = 0; length < sizeof(DsActionRecord); ++length) {
            service_says(cut(answer(outcome(1017)), length));
            const auto [result, out, err] = run(handler, command_);
            EXPECT_EQ(result, 1) << length;
            EXPECT_EQ(err, exchange_failed) << length;
        }
    }
}

TEST_F(SignatureActionTest, ClearsOneKindOfStatistics) {
    const std::map<std::uint32_t, std::uint32_t> kinds{{run_time, 20}, {downloads, 21}};
    for (const auto& [keyword, kind] : kinds) {
        Command command;
        const auto [result, out, err] = run(ch_clear_gch_ds_statistics, command.keyword(keyword));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        const Exchange& last = platform().exchanges.back();
        EXPECT_EQ(last.opcode, 312331U);
        EXPECT_EQ(last.operation, 3U);
        EXPECT_EQ(last.length, 4U);
        EXPECT_FALSE(last.wants_reply);
        EXPECT_EQ(last.cmd_type, 1U);
        EXPECT_EQ(last.record<DsStatsClearRecord>().statistics, kind);
    }
}

TEST_F(SignatureActionTest, LetsTheLastKindOfStatisticsWin) {
    run(ch_clear_gch_ds_statistics,
        command_.keyword(downloads).null_token().keyword(run_time).keyword(137));
    EXPECT_EQ(platform().exchanges.back().record<DsStatsClearRecord>().statistics, 20U);
}

TEST_F(SignatureActionTest, SaysTheSameOfEveryFailureToClear) {
    for (const ServiceStatus status : {5, 0x403B0001, 0x403B0010}) {
        service_refuses(status);
        const auto [result, out, err] = run(ch_clear_gch_ds_statistics, command_.keyword(run_time));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, exchange_failed);
    }
}

TEST_F(SignatureActionTest, RunsOnTheActiveSupervisorOnlyWhateverTheForm) {
    for (const Handler handler : exec_commands) {
        for (const std::uint32_t active_sup : {0U, 2U}) {
            for (const std::uint32_t no_form : {0U, 1U}) {
                command_.context()->active_sup = active_sup;
                command_.context()->no_form = no_form;
                const auto [result, out, err] = run(handler, command_);
                EXPECT_EQ(result, 1);
                EXPECT_EQ(out, "");
                EXPECT_EQ(err, "This command is supported on active sup only.\n");
            }
        }
    }
    EXPECT_EQ(asked(), Asked{});
    EXPECT_EQ(cmd_type, 0U);
}

TEST_F(SignatureActionTest, HasNoNoForm) {
    for (const Handler handler : exec_commands) {
        const auto [result, out, err] = run(handler, command_.no());
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, no_form_refusal);
    }
    EXPECT_EQ(asked(), Asked{});
}

TEST_F(SignatureActionTest, SaysOfALostTransportThatAnExecCommandRan) {
    for (const Handler handler : exec_commands) {
        platform().answers = {{.status = -1, .error_number = 32}};
        EXPECT_EXIT(handler(command_.context()), testing::ExitedWithCode(1),
                    "transport lost: class 1 errno 32");
    }
}

}  // namespace
}  // namespace callhome::test
