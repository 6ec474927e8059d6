// Configurations as they could be: every kind of setting, texts at their limits and with every character
// that a service takes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include <rapidcheck.h>

#include "protocol/opcode.h"

namespace callhome::test {

// One change, as it is sent to the service.
struct Change {
    protocol::Opcode opcode;
    std::vector<std::byte> record;  // in host order
    std::string description;
};

std::ostream& operator<<(std::ostream& out, const Change& change);

// A list of changes in an order in which they can be made. Some may be refused by a rule (an address that
// is there already, a limit), none for being malformed.
rc::Gen<std::vector<Change>> random_configuration();

}  // namespace callhome::test
