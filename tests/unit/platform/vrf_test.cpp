#include "vrf.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/interface.h"
#include "temporary_folder.h"

namespace callhome::platform {
namespace {

class VrfTest : public testing::Test {
 protected:
    void add_interface(const std::string& name, const std::string& properties, const std::string& index) {
        std::filesystem::create_directories(folder_.path() / "net" / name);
        std::ofstream(folder_.path() / "net" / name / "uevent") << properties;
        std::ofstream(folder_.path() / "net" / name / "ifindex") << index;
    }
    std::uint32_t id_of(std::string_view name) const {
        return vrf_context_id(folder_.path() / "net", name);
    }

    TemporaryFolder folder_;
};

TEST_F(VrfTest, TheContextIdIsTheIndexOfTheVrfsInterface) {
    add_interface("management", "DEVTYPE=vrf\nINTERFACE=management\nIFINDEX=7\n", "7\n");
    add_interface("fifteen-letters", "INTERFACE=fifteen-letters\nDEVTYPE=vrf\n", "12\n");
    EXPECT_EQ(id_of("management"), 7U);
    EXPECT_EQ(id_of("fifteen-letters"), 12U);
}

TEST_F(VrfTest, AnInterfaceOfAnotherKindIsNoVrf) {
    add_interface("eth0", "INTERFACE=eth0\nIFINDEX=2\n", "2\n");
    add_interface("wlan0", "DEVTYPE=wlan\n", "3\n");
    add_interface("tricky", "INTERFACE=tricky\nX=DEVTYPE=vrf\n", "4\n");
    EXPECT_EQ(id_of("eth0"), 0U);
    EXPECT_EQ(id_of("wlan0"), 0U);
    EXPECT_EQ(id_of("tricky"), 0U);
}

TEST_F(VrfTest, AnUnknownOrUnreadableNameIsZero) {
    add_interface("broken", "DEVTYPE=vrf\n", "not a number\n");
    EXPECT_EQ(id_of("broken"), 0U);
    EXPECT_EQ(id_of("blue"), 0U);
}

TEST_F(VrfTest, ANameLeadsNowhereElse) {
    add_interface("../elsewhere", "DEVTYPE=vrf\n", "9\n");
    add_interface("sixteen-letters-", "DEVTYPE=vrf\n", "9\n");
    std::ofstream(folder_.path() / "uevent") << "DEVTYPE=vrf\n";
    std::ofstream(folder_.path() / "ifindex") << "9\n";
    for (const char* name : {"", ".", "..", "../elsewhere", "/", "a/b", "./.", "sixteen-letters-"}) {
        EXPECT_EQ(id_of(name), 0U) << name;
    }
}

TEST(VrfInterfaceTest, TheKernelsInterfacesAreAsked) {
    EXPECT_EQ(::vrf_api_init(), 0);
    EXPECT_EQ(::vrf_get_context_id("lo"), 0U);
    EXPECT_EQ(::vrf_get_context_id(nullptr), 0U);
}

}  // namespace
}  // namespace callhome::platform
