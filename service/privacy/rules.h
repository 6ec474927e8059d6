// What is masked, as data. Adding a form is adding a row, and its line in
// tests/unit/service/privacy/corpus.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace callhome::service {

enum class Check : std::uint8_t {
    anything,      // the place says that it is a secret
    unless_prose,  // in a sentence too such a word may stand there: "password changed by ada"
    if_random,     // only what looks like no word and no name
    host_name,
    ipv4,
    ipv6,
    hardware_address,
};

// Patterns are RE2 and see one line at a time. A blank in a pattern stands for one and more blanks, ~ for
// any number of them, %NAME% for a piece of `expanded`. Every group of a pattern is a secret.
//
// Unlimited repetitions before a group are lazy: after each match the rest of the line is searched again,
// and a greedy one would read it to its end each time.
struct MaskRule {
    const char* hints;  // "key|pass": one of these stands, in any case, in each match
    Check check;
    const char* pattern;
};

// Secrets of more than one line, and columns under a heading. After a line that `begin` matches, the group
// of `row` is masked in each line for as long as the lines match it, or, where `end` is not null and does
// come, all lines up to the one that it matches.
struct BlockRule {
    const char* hint;
    const char* begin;
    const char* row;
    const char* end;
};

std::span<const MaskRule> secret_rules();    // masked always
std::span<const MaskRule> identity_rules();  // masked at level high too
std::span<const MaskRule> kept_rules();      // their groups are no secrets by prose, and no addresses
std::span<const BlockRule> block_rules();    // masked always

// As RE2 takes it.
std::string expanded(const char* pattern);

}  // namespace callhome::service
