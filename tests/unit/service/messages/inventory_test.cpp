#include "inventory/system_inventory.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "temporary_folder.h"

namespace callhome::service {
namespace {

using namespace std::string_literals;

class Inventory : public testing::Test {
 protected:
    void file(const std::string& name, const std::string& text) { folder_.write(name, text); }
    SystemInventory read() {
        SoftwareInventory software(folder_.path());
        return read_system_inventory(software, folder_.path());
    }

    TemporaryFolder folder_;
};

TEST_F(Inventory, ComesFromTheFirmwareTables) {
    file("sys/class/dmi/id/sys_vendor", "A vendor\n");
    file("sys/class/dmi/id/product_name", "A product\n");
    file("sys/class/dmi/id/product_serial", "SN-1\n");
    EXPECT_EQ(read().vendor, "A vendor");
    EXPECT_EQ(read().product, "A product");
    EXPECT_EQ(read().serial_number, "SN-1");
}

TEST_F(Inventory, ComesFromTheDeviceTreeWhereThereAreNoTables) {
    file("proc/device-tree/model", "A board\0"s);
    file("proc/device-tree/serial-number", "SN-2\0"s);
    EXPECT_EQ(read().product, "A board");
    EXPECT_EQ(read().serial_number, "SN-2");
}

TEST_F(Inventory, IsUnknownWhereTheMachineDoesNotTell) {
    file("sys/class/dmi/id/product_serial", "  \n");
    const SystemInventory inventory = read();
    EXPECT_EQ(inventory.product, "unknown");
    EXPECT_EQ(inventory.serial_number, "unknown");
    EXPECT_EQ(inventory.operating_system, "unknown");
    EXPECT_EQ(inventory.load, "unknown");
    EXPECT_EQ(inventory.uptime, 0U);
    EXPECT_EQ(inventory.processor_count, 0U);
    EXPECT_TRUE(inventory.file_systems.empty());
}

TEST_F(Inventory, BoundsAndCleansWhatAVendorWrote) {
    file("sys/class/dmi/id/product_name", std::string(100'000, 'x'));
    file("sys/class/dmi/id/product_serial", "\x1b[2J\xff\n");
    EXPECT_EQ(read().product.size(), 256U);
    EXPECT_EQ(read().serial_number, "[2J\xEF\xBF\xBD");
}

TEST_F(Inventory, ReadsHowTheSystemFares) {
    file("etc/os-release", "ID=x\nPRETTY_NAME=\"An operating system\"\n");
    file("proc/cpuinfo",
         "processor\t: 0\nmodel name\t: A processor\nprocessor\t: 1\nmodel name\t: A processor\n");
    file("proc/uptime", "273906.52 1.00\n");
    file("proc/meminfo", "MemTotal:       2048 kB\nMemFree: 7 kB\nMemAvailable:    1024 kB\n");
    file("proc/loadavg", "0.10 0.20 0.30 1/2 3\n");
    file("var/lib/dpkg/status",
         "Package: a\nStatus: install ok installed\n\nPackage: b\nStatus: deinstall ok config-files\n");
    const SystemInventory inventory = read();
    EXPECT_EQ(inventory.operating_system, "An operating system");
    EXPECT_EQ(inventory.processor, "A processor");
    EXPECT_EQ(inventory.processor_count, 2U);
    EXPECT_EQ(inventory.uptime, 273'906U);
    EXPECT_EQ(inventory.memory_total, 2048U * 1024);
    EXPECT_EQ(inventory.memory_available, 1024U * 1024);
    EXPECT_EQ(inventory.load, "0.10 0.20 0.30");
    EXPECT_EQ(inventory.package_count, 1U);
}

TEST_F(Inventory, MeasuresLocalFileSystemsOnce) {
    file("proc/self/mounts",
         "/dev/a / ext4 rw 0 0\nserver:/x / nfs rw 0 0\n/dev/a / ext4 rw 0 0\n/dev/b /nowhere-at-all ext4 "
         "rw 0 0\n"
         "/dev/c / fuse.x rw 0 0\n");
    const SystemInventory inventory = read();
    ASSERT_EQ(inventory.file_systems.size(), 1U);
    EXPECT_EQ(inventory.file_systems[0].mount_point, "/");
    EXPECT_EQ(inventory.file_systems[0].type, "ext4");
    EXPECT_GE(inventory.file_systems[0].size, inventory.file_systems[0].available);
}

TEST(Interfaces, IncludeTheLoopbackWithItsAddress) {
    SoftwareInventory software;
    const auto interfaces = read_system_inventory(software).interfaces;
    const auto loopback =
        std::find_if(interfaces.begin(), interfaces.end(),
                     [](const NetworkInterface& interface) { return interface.name == "lo"; });
    ASSERT_NE(loopback, interfaces.end());
    EXPECT_NE(std::find(loopback->addresses.begin(), loopback->addresses.end(), "127.0.0.1/8"),
              loopback->addresses.end());
}

constexpr std::chrono::milliseconds good_for{100};

TEST_F(Inventory, IsReadAgainWhenItIsOld) {
    std::chrono::steady_clock::time_point now{};
    RecentInventory recent(folder_.path(), good_for, [&] { return now; });
    file("proc/uptime", "17.3 1\n");
    EXPECT_EQ(recent.read().uptime, 17U);
    file("proc/uptime", "18.4 1\n");
    now += good_for - std::chrono::nanoseconds(1);
    EXPECT_EQ(recent.read().uptime, 17U);
    now += std::chrono::nanoseconds(1);
    EXPECT_EQ(recent.read().uptime, 18U);
    file("proc/uptime", "19.5 1\n");
    EXPECT_EQ(recent.read_anew().uptime, 19U);
    EXPECT_EQ(recent.read().uptime, 19U);
}

// What is masked depends on it. Only the thread of the test has that name.
TEST_F(Inventory, HasTheHostNameOfNow) {
    std::thread([&] {
        if (::unshare(CLONE_NEWUTS) != 0) {
            GTEST_SKIP() << "needs the right to have a host name of its own";
        }
        RecentInventory recent(folder_.path(), std::chrono::hours(1));
        for (const std::string name : {"one", "two"}) {
            ASSERT_EQ(::sethostname(name.data(), name.size()), 0);
            EXPECT_EQ(recent.read().host_name, name);
        }
    }).join();
}

}  // namespace
}  // namespace callhome::service
