#include "requests_fixture.h"

namespace callhome::service {
namespace {

using Texts = std::vector<std::string>;

class SoftwareRequestTest : public RequestsTest {
 protected:
    void record(const std::string& text) { folder.write("var/lib/dpkg/status", text); }

    Outcome ask_after(const std::string& name) {
        protocol::SoftwareRecord request{};
        write_text(request.name, name);
        return send(Opcode::software_inventory, Operation::get_next, request);
    }
    protocol::SoftwareRecord answer() const {
        protocol::SoftwareRecord record{};
        std::memcpy(&record, reply.body().data(), std::min(reply.body().size(), sizeof record));
        return record;
    }
    // What stands behind the record, text by text.
    Texts texts() const {
        const std::string packed = reply_text().substr(sizeof(protocol::SoftwareRecord));
        EXPECT_TRUE(packed.empty() || packed.back() == '\0');
        Texts texts;
        for (std::size_t at = 0; at < packed.size(); at += texts.back().size() + 1) {
            texts.emplace_back(packed.c_str() + at);
        }
        return texts;
    }
};

TEST_F(SoftwareRequestTest, AWalkTellsEachPackageWithItsFacts) {
    record(
        "Package: b\nStatus: install ok installed\nVersion: 2\n\n"
        "Package: a\nStatus: hold ok installed\nArchitecture: all\nVersion: 1\n\n");
    EXPECT_EQ(ask_after(""), Status::ok);
    EXPECT_EQ(read_text(answer().name), "a");
    EXPECT_EQ(+answer().pairs, 3U);
    EXPECT_EQ(texts(), (Texts{"Version", "1", "Architecture", "all", "Status", "hold ok installed"}));
    EXPECT_EQ(ask_after("a"), Status::ok);
    EXPECT_EQ(read_text(answer().name), "b");
    EXPECT_EQ(texts(), (Texts{"Version", "2"}));
    EXPECT_EQ(ask_after("b"), Status::no_further_entry);
    EXPECT_TRUE(reply.body().empty());
}

TEST_F(SoftwareRequestTest, AMachineWithoutARecordOfPackagesHasNone) {
    EXPECT_EQ(ask_after(""), Status::no_further_entry);
}

TEST_F(SoftwareRequestTest, TheLongestNameLeadsToTheNext) {
    const std::string longest(longest_package_name, 'x');
    record("Package: " + longest + "\nStatus: install ok installed\n\n" +
           "Package: y\nStatus: install ok installed\n\n");
    EXPECT_EQ(ask_after(""), Status::ok);
    EXPECT_EQ(read_text(answer().name), longest);
    EXPECT_EQ(+answer().pairs, 0U);
    EXPECT_EQ(ask_after(longest), Status::ok);
    EXPECT_EQ(read_text(answer().name), "y");
}

TEST_F(SoftwareRequestTest, EveryoneMayAsk) {
    caller.allowed = false;
    EXPECT_EQ(ask_after(""), Status::no_further_entry);
}

}  // namespace
}  // namespace callhome::service
