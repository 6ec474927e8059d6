// What generators write, as the shell shows it: framed, plain, or only collected.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>

#include "platform/interface.h"
#include "platform/reference.h"

namespace callhome::platform {
namespace {

class ConfigurationOutputTest : public testing::Test {
 protected:
    std::string shown(const std::function<void()>& run) {
        testing::internal::CaptureStdout();
        run();
        (void)std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }
    std::string block(const std::function<void()>& generate) {
        return shown([&] { driver_has_ended_ = write_configuration_block(settings_, generate); });
    }

    ConfigurationBlock settings_{.mode_line = "callhome",
                                 .level = 1,
                                 .is_distributed = false,
                                 .data_present = nullptr,
                                 .on_line = {},
                                 .last_lines = {}};
    bool driver_has_ended_ = false;
};

// As the library's driver ends: with a "commit" when `commits`.
void end_as_the_driver(bool commits = false) {
    if (commits) {
        if (::cfgout_start_stop_get() == 1) {
            if (::cfgout_cmd_count_get() == 0) {
                std::printf("\n");
            }
            ::cfgout_cmd_punch();
        }
        std::printf("  commit\n");
    }
    if (::cfgout_start_stop_get() == 1 && ::cfgout_cmd_count_get() != 0) {
        std::printf("\n");
    }
}

TEST_F(ConfigurationOutputTest, WithoutABlockTextIsShownAsItIs) {
    EXPECT_EQ(shown([] {
                  ::cfgout_cmd_init(nullptr);
                  EXPECT_EQ(::cfgout_start_stop_get(), 0);
                  EXPECT_EQ(::cfgout_cmd_count_get(), 0);
                  EXPECT_EQ(::cfgout_buf_printf("alert-group %s user-def-cmd %s\n", "test", "show 100%"),
                            40);
                  EXPECT_EQ(::cfgout_cmd_count_get(), 1);
                  ::cfgout_cmd_punch();
                  EXPECT_EQ(::cfgout_buf_printf("\n"), 1);
                  ::cfgout_cmd_init(nullptr);
                  EXPECT_EQ(::cfgout_cmd_count_get(), 0);
              }),
              "alert-group test user-def-cmd show 100%\n\n");
}

TEST_F(ConfigurationOutputTest, ABlockHasItsModeLineAndItsLinesAreIndented) {
    EXPECT_EQ(block([] {
                  ::cfgout_buf_printf("site-id %s\n", "7");
                  ::cfgout_cmd_init(nullptr);
                  EXPECT_EQ(::cfgout_cmd_count_get(), 1) << "the lines before belong to the block, too";
                  ::cfgout_buf_printf("use-vrf ");
                  ::cfgout_buf_printf("m\n");
                  end_as_the_driver();
              }),
              "callhome\n  site-id 7\n  use-vrf m\n\n");
    EXPECT_TRUE(driver_has_ended_);
}

TEST_F(ConfigurationOutputTest, ADeeperBlockIsIndentedWithItsModeLine) {
    settings_.level = 3;
    EXPECT_EQ(block([] { ::cfgout_buf_printf("site-id 7\n"); }), "    callhome\n      site-id 7\n");
    EXPECT_FALSE(driver_has_ended_);
}

TEST_F(ConfigurationOutputTest, EmptyLinesOfABlockAreNoCommands) {
    EXPECT_EQ(block([] {
                  ::cfgout_buf_printf("\n");
                  EXPECT_EQ(::cfgout_cmd_count_get(), 0);
                  ::cfgout_buf_printf("site-id 7\n\n");
                  EXPECT_EQ(::cfgout_cmd_count_get(), 1);
              }),
              "callhome\n  site-id 7\n");
}

TEST_F(ConfigurationOutputTest, AnEmptyBlockHasNoModeLine) {
    EXPECT_EQ(block([] { end_as_the_driver(); }), "");
}

TEST_F(ConfigurationOutputTest, ACommitBringsOutTheModeLineOfAnEmptyBlock) {
    EXPECT_EQ(block([] { end_as_the_driver(true); }), "\ncallhome\n  commit\n");
}

TEST_F(ConfigurationOutputTest, WhatIsPrintedDirectlyKeepsItsPlace) {
    EXPECT_EQ(block([] {
                  ::cfgout_buf_printf("a\n");
                  std::printf("\n");
                  ::cfgout_buf_printf("b\n");
                  end_as_the_driver();
              }),
              "callhome\n  a\n\n  b\n\n");
}

TEST_F(ConfigurationOutputTest, WhatMustComeLastComesBeforeTheCommit) {
    const std::uint32_t data_present = 1;
    settings_.is_distributed = true;
    settings_.data_present = &data_present;
    EXPECT_EQ(block([] {
                  ::cfgout_buf_printf("no periodic-inventory notification\n");
                  ::cfgout_buf_printf("enable\n");
                  ::cfgout_buf_printf("site-id 7\n");
                  end_as_the_driver(true);
              }),
              "callhome\n  site-id 7\n  enable\n  distribute\n  no periodic-inventory notification\n"
              "  commit\n\n");
}

TEST_F(ConfigurationOutputTest, WithNothingToCommitTheBlockOpensNoSession) {
    const std::uint32_t data_present = 0;
    settings_.is_distributed = true;
    settings_.data_present = &data_present;
    EXPECT_EQ(block([] {
                  ::cfgout_buf_printf("no periodic-inventory notification\n");
                  end_as_the_driver();
              }),
              "callhome\n  no periodic-inventory notification\n  distribute\n\n");
}

TEST_F(ConfigurationOutputTest, LinesOfTheShellComeOnceBetweenTheDriversAndTheLastOnes) {
    std::set<std::string> told;
    settings_.on_line = [&](std::string_view line) { told.emplace(line); };
    std::set<std::string> told_before_the_last;
    settings_.last_lines = [&](const auto& show) {
        told_before_the_last = told;
        show("switch-priority 7");
    };
    const std::uint32_t data_present = 1;
    settings_.is_distributed = true;
    settings_.data_present = &data_present;
    EXPECT_EQ(block([] {
                  ::cfgout_buf_printf("enable\nsite-id 7\n");
                  end_as_the_driver(true);
              }),
              "callhome\n  site-id 7\n  switch-priority 7\n  enable\n  distribute\n  commit\n\n");
    EXPECT_EQ(told_before_the_last, (std::set<std::string>{"enable", "site-id 7"}));
}

TEST_F(ConfigurationOutputTest, ALineMayBeLong) {
    const std::string value(100'000, 'x');
    EXPECT_EQ(block([&] { ::cfgout_buf_printf("site-id %s\n", value.c_str()); }),
              "callhome\n  site-id " + value + "\n");
}

TEST_F(ConfigurationOutputTest, CollectedLinesAreNotShown) {
    CollectedConfiguration collected;
    EXPECT_EQ(shown([&] {
                  std::printf("before\n");
                  collected = collect_configuration([] {
                      ::cfgout_buf_printf("enable\n");
                      std::printf("\nwhy\n");
                      EXPECT_EQ(::cfgout_start_stop_get(), 0);
                      ::cfgout_buf_printf("\nsite-id 7\n");
                  });
                  std::printf("after\n");
              }),
              "before\nafter\n");
    EXPECT_EQ(collected.lines, (std::vector<std::string>{"site-id 7", "enable"}));
    EXPECT_EQ(collected.printed, "\nwhy\n");
}

}  // namespace
}  // namespace callhome::platform
