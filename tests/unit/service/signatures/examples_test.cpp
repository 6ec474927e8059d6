// The shipped examples are signatures, and their events and texts are what they say.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <set>

#include "schema_check.h"
#include "signatures/bounded_file.h"
#include "signatures/pattern.h"
#include "signatures/signature_file.h"
#include "signatures/variables.h"

namespace callhome::service {
namespace {

std::string text_of(const std::filesystem::path& path) {
    return std::get<FileContent>(read_bounded_file(path, longest_signature_file)).bytes;
}

Signature example(const std::string& name) {
    const auto read = read_signature(text_of(std::filesystem::path(SIGNATURE_EXAMPLES) / (name + ".xml")));
    if (const auto* refusal = std::get_if<Refusal>(&read)) {
        ADD_FAILURE() << refusal->why;
        return {};
    }
    return std::get<Signature>(read);
}

TEST(SignatureExamples, AreValidAndNamedAsTheirFiles) {
    std::set<std::uint32_t> ids;
    for (const auto& entry : std::filesystem::directory_iterator(SIGNATURE_EXAMPLES)) {
        if (entry.path().extension() == ".xml") {
            EXPECT_EQ(tests::why_invalid_signature(text_of(entry.path())), "") << entry.path();
            const Signature signature = example(entry.path().stem());
            EXPECT_EQ(signature.name, entry.path().stem());
            EXPECT_TRUE(ids.insert(signature.id).second) << "id " << signature.id << " is there twice";
        }
    }
    EXPECT_EQ(ids.size(), 3U);
}

TEST(SignatureExamples, FireOnTheLinesThatKernelAndServiceManagerWrite) {
    struct Row {
        const char* name;
        const char* line;
        bool fires;
    };
    constexpr std::array rows{
        Row{"link-flapping", "kernel: e1000e 0000:00:1f.6 eno1: NIC Link is Down", true},
        Row{"link-flapping", "systemd-networkd[412]: eno1: Lost carrier", true},
        Row{"link-flapping", "kernel: e1000e 0000:00:1f.6 eno1: NIC Link is Up 1000 Mbps", false},
        Row{"high-temperature", "kernel: CPU3: Core temperature above threshold, cpu clock throttled",
            true},
        Row{"high-temperature",
            "kernel: thermal thermal_zone0: critical temperature reached, shutting down", true},
        Row{"high-temperature", "kernel: CPU3: Core temperature/speed normal", false},
        Row{"daemon-restarts", "systemd[1]: bgpd.service: Scheduled restart job, restart counter is at 3.",
            true},
        Row{"daemon-restarts", "systemd[1]: bgpd.service: Scheduled restart job, restart counter is at 12.",
            true},
        Row{"daemon-restarts", "systemd[1]: bgpd.service: Scheduled restart job, restart counter is at 2.",
            false},
    };
    for (const Row& row : rows) {
        const Signature signature = example(row.name);
        const auto* event = std::get_if<LogEvent>(&signature.event);
        ASSERT_NE(event, nullptr) << row.name;
        EXPECT_EQ(is_found_in(event->pattern, row.line), row.fires) << row.name << ": " << row.line;
    }
}

TEST(SignatureExamples, FillTheirMessagesIn) {
    const Signature signature = example("link-flapping");
    VariableValues values{
        {"ds_host", "leaf1"}, {"ds_time", "now"}, {"ds_event", "eno1: Lost carrier"}, {"ds_count", "2"}};
    for (const SignatureVariable& variable : signature.variables) {
        const std::string value = variable.default_value.value_or("Harbour 12");
        EXPECT_FALSE(refuse_value(variable, value)) << variable.name;
        values[variable.name] = value;
    }
    EXPECT_EQ(std::get<std::string>(fill_in_subject(signature.subject, values)),
              "Link flapping on leaf1 (Harbour 12, ticket none)");
    const auto text = std::get<std::string>(fill_in(signature.text, values));
    EXPECT_NE(text.find("\n  eno1: Lost carrier\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Report 2 of at most 10."), std::string::npos) << text;
}

}  // namespace
}  // namespace callhome::service
