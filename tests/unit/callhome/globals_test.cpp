#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <string_view>
#include <utility>

#include "callhome/data.h"

namespace {

// As they stand when the library has just been loaded. No fixture: one would reset them.
TEST(Globals, BeginWithTheirInitialValues) {
    EXPECT_EQ(cmd_type, 1U);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(sizeof buffer, 512U);
    for (const char character : buffer) {
        EXPECT_EQ(character, '\0');
    }
    EXPECT_EQ(print_running_config, 1U);
    EXPECT_EQ(pxd_data_present, 0U);
    EXPECT_EQ(pxd_dist_enabled, 0U);
    EXPECT_EQ(callhome_mode_printed, 0U);
    EXPECT_EQ(callhomeErrTraceBuffer, 0U);
    EXPECT_EQ(callhome_pendig_diff_flag, 0U);
}

TEST(Globals, TheContactTableListsTheItemsInTheirOrder) {
    const std::array<CallhomeInfoRow, 8> expected{{
        {"sysContact", "contact person name(sysContact)", nullptr, 0},
        {"sysContactEmail", "contact person's email", "email-contact", 1},
        {"sysContactPhoneNumber", "contact person's phone number", "phone-contact", 0},
        {"sysStreetAddress", "street addr", "streetaddress", 0},
        {"siteId", "site id", "site-id", 0},
        {"custId", "customer id", "customer-id", 0},
        {"contractId", "contract id", "contract-id", 0},
        {"priority", "switch priority", "switch-priority", 0},
    }};
    ASSERT_EQ(callhome_info_table_size, 8);
    for (std::size_t row = 0; row < expected.size(); ++row) {
        EXPECT_STREQ(callhome_info_table[row].mib_name, expected[row].mib_name);
        EXPECT_STREQ(callhome_info_table[row].description, expected[row].description);
        EXPECT_STREQ(callhome_info_table[row].keyword, expected[row].keyword);
        EXPECT_EQ(callhome_info_table[row].required, expected[row].required);
    }
}

TEST(Globals, TheListOfAlertGroupsNamesThemInItsOwnOrder) {
    const std::array<std::pair<unsigned, std::string_view>, 17> expected{{
        {28, "system"},
        {29, "environmental"},
        {30, "linecard-hardware"},
        {31, "supervisor-hardware"},
        {32, "inventory"},
        {33, "test"},
        {34, "all"},
        {37, "ZUVA-TAC"},
        {38, "license"},
        {40, "syslog-group-port"},
        {39, "configuration"},
        {63, "Diagnostic"},
        {36, "OBX"},
        {82, "RMON"},
        {68, "life-cycle"},
        {83, "pelago"},
        {103, "crash"},
    }};
    ASSERT_EQ(std::size(alert_group_list), expected.size());
    EXPECT_EQ(sizeof alert_group_list, expected.size() * (4 + 256));
    for (std::size_t row = 0; row < expected.size(); ++row) {
        EXPECT_EQ(alert_group_list[row].keyword_id, expected[row].first);
        EXPECT_EQ(alert_group_list[row].name, expected[row].second);
    }
}

TEST(Globals, AreExportedUnderTheirNames) {
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "alert_group_list"), &alert_group_list);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "cmd_type"), &cmd_type);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "buffer"), &buffer);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "print_running_config"), &print_running_config);
}

}  // namespace
