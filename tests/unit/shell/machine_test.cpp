// What the firmware and the system tell of the machine.
#include "machine.h"

#include <gtest/gtest.h>

#include <fstream>

#include "temporary_folder.h"

namespace callhome::shell {
namespace {

class MachineTest : public testing::Test {
 protected:
    void write(const std::string& name, const std::string& content) {
        std::filesystem::create_directories((folder_.path() / name).parent_path());
        std::ofstream(folder_.path() / name) << content;
    }
    Machine read() { return read_machine(folder_.path()); }

    TemporaryFolder folder_;
};

TEST_F(MachineTest, AMachineThatTellsNothingIsUnknown) {
    const Machine machine = read();
    EXPECT_EQ(machine.vendor + machine.product + machine.version + machine.processor, "");
    EXPECT_EQ(machine.processors, 0U);
    EXPECT_EQ(machine.memory_mib, 0U);
    EXPECT_EQ(distribution_name(folder_.path()), "");
}

TEST_F(MachineTest, FirmwareNamesVendorAndProduct) {
    write("sys/class/dmi/id/sys_vendor", " Example Works \nmore\n");
    write("sys/class/dmi/id/product_name", "Switch 48\n");
    write("sys/class/dmi/id/product_version", "B2\n");
    const Machine machine = read();
    EXPECT_EQ(machine.vendor, "Example Works");
    EXPECT_EQ(machine.product, "Switch 48");
    EXPECT_EQ(machine.version, "B2");
}

TEST_F(MachineTest, TheBoardsVendorStandsInAndSoDoesADeviceTree) {
    write("sys/class/dmi/id/sys_vendor", "\n");
    write("sys/class/dmi/id/board_vendor", "Board Works\n");
    write("proc/device-tree/model", std::string("Board 4\0", 8));
    EXPECT_EQ(read().vendor, "Board Works");
    EXPECT_EQ(read().product, "Board 4");
}

TEST_F(MachineTest, ProcessorsAreCountedAndNamed) {
    write("proc/cpuinfo",
          "processor\t: 0\nmodel\t\t: 17\nmodel name\t: Fast: the second\n\n"
          "processor\t: 1\nmodel name\t: Fast: the second\n");
    write("proc/meminfo", "MemTotal:        8013636 kB\nMemFree: 1 kB\n");
    const Machine machine = read();
    EXPECT_EQ(machine.processors, 2U);
    EXPECT_EQ(machine.processor, "Fast: the second");
    EXPECT_EQ(machine.memory_mib, 7825U);
}

TEST_F(MachineTest, WhatFirmwareSaysCannotDriveTheTerminal) {
    write("sys/class/dmi/id/product_name", "\x1b[31mred\xFF" + std::string(400, 'x') + "\n");
    const std::string product = read().product;
    EXPECT_TRUE(product.starts_with("\\x1b[31mred\\xff")) << product;
    EXPECT_LT(product.size(), 300U);
}

TEST_F(MachineTest, TheDistributionIsNamedWithoutItsQuotes) {
    write("etc/os-release", "NAME=\"Other\"\nPRETTY_NAME=\"Example OS 4 (quiet)\"\n");
    EXPECT_EQ(distribution_name(folder_.path()), "Example OS 4 (quiet)");
}

}  // namespace
}  // namespace callhome::shell
