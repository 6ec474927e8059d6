// The commands of diagnostic signatures as they are typed, and what their handlers are given.
#include <gtest/gtest.h>

#include <filesystem>

#include "parsed_line.h"

namespace callhome::shell {
namespace {

class SignatureCommand : public testing::TestWithParam<Line> {};

TEST_P(SignatureCommand, GivesItsHandlerTheseTokens) {
    EXPECT_EQ(parsed(GetParam().mode, GetParam().typed), GetParam().expected);
}

constexpr Line signature_lines[] = {
    {"exec", "callhome diagnostic-signature load /tmp/link.xml",
     "ch_exec_gch_ds_load_file: 109=/tmp/link.xml"},
    {"exec", "callhome diagnostic-signature download 6030", "ch_exec_gch_ds_download: 107=u32:6030"},
    {"exec", "callhome diagnostic-signature download all", "ch_exec_gch_ds_download: 108=all"},
    {"exec", "callhome diagnostic-signature install 4294967295",
     "ch_exec_gch_ds_install: 107=u32:4294967295"},
    {"exec", "callhome diagnostic-signature install 0",
     "error at 38: Invalid value: \"0\" is not a number from 1 to 4294967295"},
    {"exec", "callhome diagnostic-signature install all",
     "error at 38: Invalid value: \"all\" is not a number from 1 to 4294967295"},
    {"exec", "callhome diagnostic-signature deinstall 1", "ch_exec_gch_ds_deinstall: 107=u32:1"},
    {"exec", "callhome diagnostic-signature deinstall all", "ch_exec_gch_ds_deinstall: 108=all"},
    {"exec", "clear callhome diagnostic-signature statistics run-time",
     "ch_clear_gch_ds_statistics: 138=run-time"},
    {"exec", "clear callhome diagnostic-signature statistics download",
     "ch_clear_gch_ds_statistics: 139=download"},
    {"exec", "clear callhome diagnostic-signature statistics",
     "error at 46: Incomplete command: expected run-time, download"},
    {"signature", "environment ds_if eth0 and  eth1",
     "ch_config_gch_ds_environment: 104=ds_if 105=eth0 and  eth1"},
    {"signature", "no environment ds_if", "ch_config_gch_ds_environment no: 104=ds_if"},
    {"signature", "no environment ds_if eth0", "ch_config_gch_ds_environment no: 104=ds_if 105=eth0"},
    {"signature", "environment ds_if", "error at 17: Incomplete command: expected VALUE"},
    {"signature", "environment ds_345678901234 x",
     "ch_config_gch_ds_environment: 104=ds_345678901234 105=x"},
    {"signature", "environment ds_3456789012346 x",
     "error at 12: Invalid value: \"ds_3456789012346\" is longer than 15 bytes"},
    {"signature", "profile noc", "ch_config_gch_ds_profile: 103=noc"},
    {"signature", "no profile noc", "ch_config_gch_ds_profile no: 103=noc"},
    {"signature", "profile full-txt-destination", "ch_config_gch_ds_profile: 103=full_txt"},
    {"signature", "profile short_txt", "ch_config_gch_ds_profile: 103=short_txt"},
    {"signature", "profile ZUVA-profile", "ch_config_gch_ds_profile: 103=ZUVA-profile"},
    {"signature", "active", "ch_config_gch_ds_active:"},
    {"signature", "no active", "ch_config_gch_ds_active no:"},
    {"signature", "callhome diagnostic-signature install 7", "ch_exec_gch_ds_install: 107=u32:7"},
};
INSTANTIATE_TEST_SUITE_P(Signatures, SignatureCommand, testing::ValuesIn(signature_lines));

TEST(FileNames, AreHandedOverAsAbsoluteOnes) {
    const std::string folder = std::filesystem::current_path();
    EXPECT_EQ(parsed("exec", "callhome diagnostic-signature load link.xml"),
              "ch_exec_gch_ds_load_file: 109=" + folder + "/link.xml");
    EXPECT_EQ(parsed("exec", "callhome diagnostic-signature load ./a/link.xml"),
              "ch_exec_gch_ds_load_file: 109=" + folder + "/./a/link.xml");
    const std::string longest = "/" + std::string(199, 'x');
    EXPECT_EQ(parsed("exec", "callhome diagnostic-signature load " + longest),
              "ch_exec_gch_ds_load_file: 109=" + longest);
    const std::string too_long = std::string(200, 'x');
    EXPECT_EQ(parsed("exec", "callhome diagnostic-signature load " + too_long),
              "error at 35: Invalid value: \"" + too_long.substr(0, 40) +
                  "...\" has an absolute name of more than 200 bytes");
}

}  // namespace
}  // namespace callhome::shell
