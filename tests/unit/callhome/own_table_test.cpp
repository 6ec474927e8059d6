// A process may bring tables of its own, as it may any exported data.
#include "command.h"
#include "protocol/records/alert_group.h"

extern "C" {
// Two tables of one name are the point of this program; the address sanitizer is told so.
const char* __asan_default_options() {
    return "detect_odr_violation=0";
}

extern const CallhomeInfoRow callhome_info_table[CALLHOME_INFO_ROWS] = {
    {"sysContact", "first", nullptr, 0}, {"sysContactEmail", "second", "email-contact", 0}};
extern const int callhome_info_table_size = 2;

extern const AlertGroupRow alert_group_list[CALLHOME_ALERT_GROUPS] = {{28, "my-own"}};
}

namespace callhome::test {
namespace {

class OwnTableTest : public LibraryTest {};

TEST_F(OwnTableTest, ATableWithoutRequiredRowsListsNothingBetweenTheFirstAndTheLastLines) {
    Command command;
    service_refuses(0x403B0008);
    const auto [result, out, err] = run(callhome_enable, command.keyword(1));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out,
              "text of 0x403B0008\n"
              "callhome can not be enabled on the switch,\n"
              "because necessary configuration has not been done\n"
              "Please check if all of following configuration is done \n"
              "To configure sysContact, please use snmp-server command\n");
    EXPECT_EQ(err, "");
}

TEST_F(OwnTableTest, UserCommandsGoByTheListOfTheProcess) {
    Command command;
    run(callhome_process_user_def_cmds, command.keyword(28));
    EXPECT_EQ(text(platform().exchanges.back().record<protocol::UserCommandRecord>().group), "my-own");
}

TEST_F(OwnTableTest, SubscriptionsGoByTheLibrarysNames) {
    Command command;
    run(callhome_alert_groups, command.keyword(28));
    EXPECT_EQ(text(platform().exchanges.back().record<protocol::SubscriptionRecord>().group), "system");
}

}  // namespace
}  // namespace callhome::test
