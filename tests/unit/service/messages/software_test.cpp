#include "inventory/software.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "row_name.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

using Facts = std::vector<std::pair<std::string, std::string>>;

constexpr const char* status_file = "var/lib/dpkg/status";

std::string paragraph(const std::string& name, const std::string& rest = "") {
    return "Package: " + name + "\nStatus: install ok installed\n" + rest + "\n";
}

class Software : public testing::Test {
 protected:
    void record(const std::string& text) { folder_.write(status_file, text); }
    std::vector<SoftwarePackage> read() { return read_software(folder_.path()); }
    std::vector<std::string> names() {
        std::vector<std::string> names;
        for (const SoftwarePackage& package : read()) {
            names.push_back(package.name);
        }
        return names;
    }

    TemporaryFolder folder_;
};

TEST_F(Software, IsToldWithItsVersionArchitectureSectionAndSource) {
    record(
        "Package: libc6\nStatus: install ok installed\nPriority: optional\nSection: libs\n"
        "Architecture: amd64\nMulti-Arch: same\nSource: glibc\nVersion: 2.36-9\n"
        "Description: GNU C Library\n Version: 1 of a text that goes on\n .\n More.\n\n");
    ASSERT_EQ(read().size(), 1U);
    EXPECT_EQ(read()[0].name, "libc6");
    EXPECT_EQ(
        read()[0].facts,
        (Facts{
            {"Version", "2.36-9"}, {"Architecture", "amd64"}, {"Section", "libs"}, {"Source", "glibc"}}));
}

TEST_F(Software, IsSortedByteByByte) {
    record(paragraph("zlib") + paragraph("a-b") + paragraph("a") + paragraph("ab") + paragraph("a+b") +
           paragraph("B"));
    EXPECT_EQ(names(), (std::vector<std::string>{"B", "a", "a+b", "a-b", "ab", "zlib"}));
}

TEST_F(Software, OfSeveralArchitecturesIsToldApart) {
    record(paragraph("libc6", "Architecture: i386\nVersion: 1\n") + paragraph("libc6+x") +
           paragraph("libc6", "Architecture: amd64\nVersion: 1\n"));
    EXPECT_EQ(names(), (std::vector<std::string>{"libc6+x", "libc6:amd64", "libc6:i386"}));
}

TEST_F(Software, OfOneNameAndArchitectureIsToldOnce) {
    record(paragraph("a") + paragraph("a") + paragraph("b"));
    EXPECT_EQ(names().size(), 2U);
}

TEST_F(Software, IsThereWithoutAnEmptyLineAtTheEnd) {
    record("Package: a\nStatus: install ok installed\n\nPackage: b\nStatus: install ok installed");
    EXPECT_EQ(names(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(Software, IsNotThereWithoutItsRecord) {
    EXPECT_TRUE(read().empty());
    record("");
    EXPECT_TRUE(read().empty());
    std::filesystem::remove(folder_.path() / status_file);
    std::filesystem::create_directory(folder_.path() / status_file);
    EXPECT_TRUE(read().empty());
}

struct State {
    const char* status;
    bool installed;
    const char* told;  // as its status; empty where there is nothing to tell
};

class SoftwareState : public Software, public testing::WithParamInterface<State> {};

TEST_P(SoftwareState, DecidesWhetherItIsTold) {
    const State& row = GetParam();
    record("Package: a\nStatus: " + std::string(row.status) + "\n\n");
    ASSERT_EQ(read().size(), row.installed ? 1U : 0U);
    if (row.installed) {
        const Facts expected = *row.told == '\0' ? Facts{} : Facts{{"Status", row.told}};
        EXPECT_EQ(read()[0].facts, expected);
    }
}

INSTANTIATE_TEST_SUITE_P(States, SoftwareState,
                         testing::Values(State{"install ok installed", true, ""},
                                         State{"hold ok installed", true, "hold ok installed"},
                                         State{"install reinstreq half-configured", true,
                                               "install reinstreq half-configured"},
                                         State{"install ok unpacked", true, "install ok unpacked"},
                                         State{"deinstall ok config-files", false, ""},
                                         State{"purge ok not-installed", false, ""}, State{"", false, ""}),
                         [](const testing::TestParamInfo<State>& row) {
                             return *row.param.status == '\0' ? "none" : tests::row_name(row.param.status);
                         });

TEST_F(Software, WithANameThatNoRecordCanHoldIsLeftOut) {
    const std::string longest(longest_package_name, 'x');
    record(paragraph(longest) + paragraph(longest + "x") + paragraph("") + paragraph(" \t"));
    EXPECT_EQ(names(), std::vector<std::string>{longest});
}

TEST_F(Software, IsBoundedAndCleaned) {
    record(paragraph("\x1b[2J\xff",
                     "Version: " + std::string(100'000, 'v') + "\nSection: \x07 a\xc3\nSource: \n"));
    ASSERT_EQ(read().size(), 1U);
    EXPECT_EQ(read()[0].name, "[2J\xEF\xBF\xBD");
    EXPECT_EQ(read()[0].facts, (Facts{{"Version", std::string(256, 'v')}, {"Section", "a\xEF\xBF\xBD"}}));
}

class SoftwareWalk : public Software {
 protected:
    std::string after(const std::string& name) {
        const SoftwarePackage* package = inventory_.after(name);
        return package == nullptr ? "<end>" : package->name;
    }

    SoftwareInventory inventory_{folder_.path()};
};

TEST_F(SoftwareWalk, GoesFromNameToName) {
    record(paragraph("a") + paragraph("c"));
    EXPECT_EQ(inventory_.count(), 2U);
    EXPECT_EQ(after(""), "a");
    EXPECT_EQ(after("a"), "c");
    EXPECT_EQ(after("b"), "c");
    EXPECT_EQ(after("c"), "<end>");
}

TEST_F(SoftwareWalk, SeesWhatHasChangedSince) {
    EXPECT_EQ(after(""), "<end>");
    record(paragraph("a"));
    EXPECT_EQ(after(""), "a");
    // As the package manager does it: a new file in the place of the old one.
    folder_.write("new", paragraph("b"));
    std::filesystem::rename(folder_ / "new", folder_.path() / status_file);
    EXPECT_EQ(after(""), "b");
    std::filesystem::remove(folder_.path() / status_file);
    EXPECT_EQ(after(""), "<end>");
}

TEST_F(SoftwareWalk, ReadsTheRecordOnce) {
    record(paragraph("a") + paragraph("b"));
    const auto changed = std::filesystem::last_write_time(folder_.path() / status_file);
    EXPECT_EQ(after(""), "a");
    // Other content that looks like the same file: of the same length, written at the same time.
    record(paragraph("a") + paragraph("c"));
    std::filesystem::last_write_time(folder_.path() / status_file, changed);
    EXPECT_EQ(after("a"), "b");
}

TEST(SoftwareOfThisMachine, IsWhatItsRecordSays) {
    if (!std::filesystem::exists(std::filesystem::path("/") / status_file)) {
        GTEST_SKIP() << "this machine keeps no such record";
    }
    const auto packages = read_software("/");
    const auto library = std::ranges::find_if(packages, [](const SoftwarePackage& package) {
        return package.name == "libc6" || package.name.starts_with("libc6:");
    });
    ASSERT_NE(library, packages.end());
    EXPECT_EQ(library->facts.front().first, "Version");
}

}  // namespace
}  // namespace callhome::service
