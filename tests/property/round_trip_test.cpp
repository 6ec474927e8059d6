// The running configuration, typed into an empty service, gives the same configuration: byte for byte the
// same text, also after a restart, and the same content of the database.
//
// Usage: round_trip_test SHARE CONFIGURATIONS
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "kept_configuration.h"
#include "programs.h"
#include "protocol/status.h"
#include "random_configuration.h"

namespace callhome::test {
namespace {

constexpr const char* show = "show running-config callhome";

// A random change may meet a rule; then it is not made.
constexpr std::array rules{
    protocol::Status::ok,
    protocol::Status::already_exists,
    protocol::Status::limit_reached,
    protocol::Status::built_in_profile,
    protocol::Status::too_many_user_commands,
    protocol::Status::conflicts_with_tac_group,
    protocol::Status::user_command_refused,
};

bool is_made_or_meets_a_rule(std::int32_t status, const Change& change) {
    const auto of_status = static_cast<protocol::Status>(status);
    // A mail server keeps its port.
    return std::ranges::find(rules, of_status) != rules.end() ||
           (change.opcode == protocol::Opcode::mail_server &&
            of_status == protocol::Status::malformed_request);
}

void comes_back(const std::vector<Change>& configuration) {
    const Folder folder;
    Service first(folder / "first");
    for (const Change& change : configuration) {
        const std::int32_t status = first.make(change);
        if (!is_made_or_meets_a_rule(status, change)) {
            RC_FAIL(change.description +
                    " is refused: " + protocol::text_of(static_cast<protocol::Status>(status)));
        }
    }
    const auto shown = first.shell({"-c", show});
    RC_ASSERT(shown.status == 0);
    RC_ASSERT(shown.err.empty());

    const std::filesystem::path script = folder / "script";
    std::ofstream(script, std::ios::binary) << shown.out;
    Service second(folder / "second");
    const auto typed = second.shell({"-f", script});
    if (typed.status != 0 || !typed.err.empty()) {
        RC_FAIL("typed again, it is refused: " + typed.out + typed.err + "\n" + shown.out);
    }
    RC_ASSERT(second.shell({"-c", show}).out == shown.out);
    second.kill();
    second.start();
    RC_ASSERT(second.shell({"-c", show}).out == shown.out);
    RC_ASSERT(kept_configuration(second.database()) == kept_configuration(first.database()));
}

std::string setting(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value == nullptr ? otherwise : value;
}

}  // namespace
}  // namespace callhome::test

int main(int count, char** arguments) {
    using namespace callhome::test;
    if (count != 3) {
        std::fputs("usage: round_trip_test SHARE CONFIGURATIONS\n", stderr);
        return 2;
    }
    const std::string seed = setting("CALLHOME_SEED", "20261121") + arguments[1];
    const std::string parameters =
        "seed=" + seed + " max_size=40 max_success=" + setting("CALLHOME_CONFIGURATIONS", arguments[2]);
    ::setenv("RC_PARAMS", parameters.c_str(), 1);
    const bool holds = rc::check("a running configuration typed again is the same configuration",
                                 [] { comes_back(*random_configuration()); });
    return holds ? 0 : 1;
}
