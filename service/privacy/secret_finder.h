// Where the secrets of a text are. What they become is the Masker's.
#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "privacy/findings_memory.h"
#include "store/configuration.h"

namespace re2 {
class RE2;
}

namespace callhome::service {

// What this switch is called, empty where that is not known: masked also where no pattern would tell.
struct KnownNames {
    std::string host_name;
    std::string serial_number;

    bool operator==(const KnownNames&) const = default;
};

// What systems say that have no name of their own.
bool is_no_name(std::string_view value);
std::string lower_case(std::string_view text);

inline constexpr std::size_t most_known_secrets = 256;  // that are looked for everywhere
using KnownSecrets = std::set<std::string>;

// For one setting of privacy and one pair of names, and as many messages as have them: what it finds in a
// text depends on nothing else. So it remembers the texts that it saw last, as most of a message was in the
// one before. Takes a time linear in a text's length.
class SecretFinder {
 public:
    SecretFinder(const Privacy& privacy, KnownNames names, const FindingsLimits& limits = {});
    ~SecretFinder();

    SecretFinder(const SecretFinder&) = delete;
    SecretFinder& operator=(const SecretFinder&) = delete;

    bool is_for(const Privacy& privacy, const KnownNames& names) const;
    const Privacy& privacy() const;

    // Line by line; a secret may have several lines. Good until the next call.
    const Findings& found_in(std::string_view text);

    // Matches any of these secrets where it stands by itself, as its group 1; null for none of them. Good
    // until the next call.
    const re2::RE2* pattern_of(const KnownSecrets& secrets);

 private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace callhome::service
