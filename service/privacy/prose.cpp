#include "privacy/prose.h"

#include <algorithm>
#include <unordered_set>

namespace callhome::service {
namespace {

// What people take for passwords ("admin", "public", "letmein") is not here.
constexpr std::string_view words =
    "a about above accepted access accessed according account accounts across active added "
    "additional admin's after again age aged aging algorithm algorithms all allowed allows also "
    "always an and any applied applies are as at attempt attempts attribute attributes auth "
    "authenticate authenticated authentication authorization auto available bad base based bits "
    "bucket buckets buffer by bytes cache called can cannot case chain chains change changed changes "
    "changing character characters check checked checking checks class cleared client command "
    "commands compat complexity compromised config configuration configure configured configuring "
    "confirm confirmation containing contains control could count created creation daemon data "
    "database date days db default defaults defined deleted denied description did differ disabled "
    "disallowed display does done during either empty enable enabled encoding encrypted encryption "
    "enter entered entries entry error errors exceeded exchange exists expiration expire expired "
    "expires expiring expiry fail failed failure failures false family field file files filter-vrf "
    "for forgotten format found from generated generation generator given got grace group had "
    "handling has hash hashed hashes hashing have hidden history hostkey id identifier if ignored in "
    "inactive include incorrect incorrectly index info information informs input installed interface "
    "internal invalid is issue issued it item key key-chain keychain keys label last ldap leaked "
    "length level lifetime limit limits list loaded local locked lockout login lookup lost "
    "management manager mandatory masked match matched matches max maximum may md5 method min "
    "minimum minlen mismatch missing mode module must name names needed needs negotiation never new "
    "nis no none nopassword not notice null number obscure of off ok old on one only operation "
    "option optional options or other out pair parameter parameters parsing passed peer per "
    "permitted phrase plaintext please policies policy presented priv privilege problem process "
    "profile prompt prompted prompts properties protected protection protocol provided quality queue "
    "range reason recovery redacted refresh refreshed refused registered rejected remove removed "
    "removing renewal renewed required requirement requirements requires requisite reset resetting "
    "restricted result retries retry returned reuse revoked ring role rotated rotation rules same "
    "saved secret secrets secure security see service set setting settings setup shall should show "
    "size some source-interface specified specify sss status storage store stored storing strength "
    "strength-check string strings strong substack succeeded success successful successfully "
    "sufficient supplied supported sync synchronized system systemd table tables text than that then "
    "this through time timeout timer to token tokens too traps true type types udp-port unavailable "
    "unchanged unconfigured undefined unencrypted unexpected unknown unset unsupported until update "
    "updated updates updating usage use use-vrf used user username users uses using valid validation "
    "validity value values verification verified verify version versions via violation vrf was weak "
    "were when where whether which while will with without word would wrong yes yet you your ";

std::unordered_set<std::string_view> set_of_words() {
    std::unordered_set<std::string_view> set;
    for (std::size_t begin = 0; begin < words.size();) {
        const std::size_t end = std::min(words.find(' ', begin), words.size());
        set.insert(words.substr(begin, end - begin));
        begin = end + 1;
    }
    return set;
}

}  // namespace

bool is_prose_word(std::string_view word) {
    static const std::unordered_set<std::string_view> set = set_of_words();
    return set.contains(word);
}

}  // namespace callhome::service
