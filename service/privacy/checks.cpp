#include "privacy/checks.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

#include "privacy/mask.h"
#include "privacy/prose.h"

namespace callhome::service {
namespace {

constexpr std::size_t shortest_random = 8;
constexpr std::size_t longest_address = 64;  // with its zone and prefix length
constexpr std::size_t octets_of_ipv4 = 4;
constexpr std::size_t digits_of_mac = 12;
constexpr std::size_t digits_of_eui64 = 16;
constexpr std::size_t digits_of_infiniband = 40;
constexpr unsigned highest_octet = 255;
constexpr unsigned highest_port = 65535;
constexpr unsigned loopback_network = 127;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_alphanumeric(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

bool in_word_at(std::string_view line, std::size_t at) {
    return at < line.size() && (is_alphanumeric(line[at]) || line[at] == '_');
}

std::string lower(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

// Beginnings and ends of values that punctuation shares with the text around them.
std::string_view bare_word(std::string_view text) {
    constexpr std::string_view opening = "\"'`([{<";
    constexpr std::string_view closing = "\"'`)]}>.,:;!?";
    const std::size_t begin = text.find_first_not_of(opening);
    if (begin == std::string_view::npos) {
        return {};
    }
    text.remove_prefix(begin);
    text = text.substr(0, text.find_first_of(" \t"));
    return text.substr(0, text.find_last_not_of(closing) + 1);
}

// In brackets these stand for a secret, by themselves they could be a bad one.
bool is_placeholder(std::string_view word) {
    constexpr std::array words{"password", "passphrase", "community", "word", "line"};
    return is_prose_word(word) || std::ranges::find(words, word) != words.end();
}

// What tells nothing: "****", "{", "<masked-2>", and the same in brackets.
bool is_blind(std::string_view text) {
    const bool one_character = text.find_first_not_of(text.front()) == std::string_view::npos;
    const bool is_empty =
        one_character && !is_alphanumeric(text.front()) && static_cast<unsigned char>(text.front()) < 0x80;
    if (is_empty) {
        return true;
    }
    if ((text.front() == '<' || text.front() == '(') && is_placeholder(lower(bare_word(text)))) {
        return true;
    }
    const std::string with_end =
        std::string(text) + '>';  // the end of a value may be cut off as punctuation
    return mask_at_beginning(text) == text.size() || mask_at_beginning(with_end) == with_end.size();
}

bool is_file(std::string_view text) {
    constexpr std::array folders{"/etc/", "/usr/", "/var/", "/home/", "/root/",  "/opt/",  "/run/",
                                 "/tmp/", "/mnt/", "/srv/", "/dev/",  "/proc/",  "/sys/",  "/lib/",
                                 "./",    "../",   "~/",    "file:",  "/flash/", "flash:", "bootflash:"};
    return std::ranges::any_of(folders, [&](const char* folder) { return text.starts_with(folder); });
}

// "-b", "--file"
bool is_option(std::string_view text) {
    constexpr std::size_t short_option = 2;
    return text.starts_with("--") || (text.starts_with('-') && text.size() == short_option);
}

bool is_prose(std::string_view text) {
    return is_prose_word(lower(bare_word(text))) || is_file(text) || is_option(text);
}

std::optional<Found> whole(std::string_view line, std::size_t begin, std::size_t end) {
    return Found{begin, end, std::string(line.substr(begin, end - begin))};
}

struct Octets {
    std::array<unsigned, octets_of_ipv4 + 1> values{};
    std::size_t count = 0;
    std::size_t length = 0;  // of the first four, in characters
};

// Numbers between dots; a count of 0 where there are more than an address with a port has.
Octets octets_of(std::string_view text) {
    Octets octets;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (octets.count == octets.values.size()) {
            return {};
        }
        const std::size_t end = std::min(text.find('.', at), text.size());
        const auto read = std::from_chars(text.data() + at, text.data() + end, octets.values[octets.count]);
        if (read.ec != std::errc() || read.ptr != text.data() + end) {
            return {};
        }
        ++octets.count;
        at = end;
        octets.length = octets.count <= octets_of_ipv4 ? end : octets.length;
    }
    return octets;
}

bool is_ipv4(const Octets& octets) {
    const bool in_range = std::all_of(octets.values.begin(), octets.values.begin() + octets_of_ipv4,
                                      [](unsigned octet) { return octet <= highest_octet; });
    const bool with_port = octets.count == octets_of_ipv4 + 1 && octets.values.back() <= highest_port;
    return in_range && (octets.count == octets_of_ipv4 || with_port);
}

// Every host has them, so they identify none.
bool is_everywhere(const Octets& octets) {
    const auto& values = octets.values;
    const auto all = [&](unsigned octet) {
        return std::all_of(values.begin(), values.begin() + octets_of_ipv4,
                           [&](unsigned value) { return value == octet; });
    };
    return values.front() == loopback_network || all(0) || all(highest_octet);
}

std::optional<Found> ipv4(std::string_view line, std::size_t begin, std::size_t end) {
    const bool in_word = begin > 0 && in_word_at(line, begin - 1);
    const std::string_view text = line.substr(begin, end - begin);
    const std::string_view numbers = text.substr(0, text.find('/'));
    const Octets octets = octets_of(numbers);
    if (in_word || octets.count == 0 || !is_ipv4(octets) || is_everywhere(octets)) {
        return std::nullopt;
    }
    const bool has_port = octets.count > octets_of_ipv4;
    return Found{begin, has_port ? begin + octets.length : end,
                 std::string(numbers.substr(0, octets.length))};
}

// The canonical spelling of an address; empty where it is none, or one that every host has.
std::string canonical_ipv6(std::string_view text) {
    in6_addr address{};
    char spelled[INET6_ADDRSTRLEN];
    if (::inet_pton(AF_INET6, std::string(text).c_str(), &address) != 1) {
        return {};
    }
    const bool is_local = IN6_IS_ADDR_UNSPECIFIED(&address) || IN6_IS_ADDR_LOOPBACK(&address);
    // "a::" and the like are names of a programming language before they are addresses.
    constexpr std::ptrdiff_t shortest_word = 4;
    const bool has_digit = std::ranges::any_of(text, is_digit);
    const auto letters = std::ranges::count_if(text, is_alphanumeric);
    if (is_local || (!has_digit && letters < shortest_word)) {
        return {};
    }
    return ::inet_ntop(AF_INET6, &address, spelled, sizeof spelled);
}

// The address at the beginning of a run, which a port or the end of a sentence may follow: its length and
// canonical spelling.
std::optional<Found> ipv6_at(std::string_view run, std::size_t begin) {
    constexpr std::size_t most_ends = 3;
    std::size_t end = run.size();
    for (std::size_t cuts = 0; cuts <= most_ends && end > begin; ++cuts) {
        std::string identity = canonical_ipv6(run.substr(begin, end - begin));
        if (!identity.empty()) {
            return Found{begin, end, std::move(identity)};
        }
        const std::size_t dot = run.rfind('.', end - 1);
        end = run[end - 1] == ':' ? end - 1 : dot == std::string_view::npos ? 0 : dot;
    }
    return std::nullopt;
}

// A run of digits, colons and dots may have more around an address: "addr:2001:db8::1:", "2001:db8::1.443".
std::optional<Found> ipv6(std::string_view line, std::size_t begin, std::size_t end) {
    if (begin > 0 && in_word_at(line, begin - 1)) {
        begin = line.find(':', begin) + 1;
        if (begin >= end || line[begin] == ':') {
            return std::nullopt;  // "std::add"
        }
    }
    const std::string_view text = line.substr(begin, end - begin);
    const std::size_t length = std::min(text.find_first_of("%/"), text.size());
    const bool is_name = in_word_at(line, end) && std::ranges::none_of(text, is_digit);
    if (length > longest_address || is_name) {
        return std::nullopt;
    }
    const std::string_view run = text.substr(0, length);
    auto found = ipv6_at(run, 0);
    if (!found && (run.starts_with(':') || run.starts_with('.'))) {
        found = ipv6_at(run, 1);
    }
    if (found) {
        found->end = found->end == length ? end : begin + found->end;
        found->begin += begin;
    }
    return found;
}

// As many octets as an address has: fingerprints and dumps have more.
std::optional<Found> hardware_address(std::string_view line, std::size_t begin, std::size_t end) {
    constexpr std::string_view joints = ":-.";
    const bool in_word = begin > 0 && in_word_at(line, begin - 1);
    const bool goes_on =
        in_word_at(line, end) ||
        (end + 1 < line.size() && joints.find(line[end]) != std::string_view::npos &&
         line[end] == line[begin + 2] && std::isxdigit(static_cast<unsigned char>(line[end + 1])) != 0);
    std::string digits = lower(line.substr(begin, end - begin));
    std::erase_if(digits, [](char c) { return !is_alphanumeric(c); });
    const bool has_length = digits.size() == digits_of_mac || digits.size() == digits_of_eui64 ||
                            digits.size() == digits_of_infiniband;
    const bool says_nothing = digits.find_first_not_of(digits.front()) == std::string::npos &&
                              (digits.front() == '0' || digits.front() == 'f');
    if (in_word || goes_on || !has_length || says_nothing) {
        return std::nullopt;
    }
    return Found{begin, end, std::move(digits)};
}

}  // namespace

bool looks_random(std::string_view text) {
    const bool has_digit = std::ranges::any_of(text, is_digit);
    const bool has_letter =
        std::ranges::any_of(text, [](char c) { return is_alphanumeric(c) && !is_digit(c); });
    return text.size() >= shortest_random && has_digit && has_letter && !is_file(text) &&
           text.find("://") == std::string_view::npos;
}

std::optional<Found> checked(Check check, std::string_view line, std::size_t begin, std::size_t end) {
    if (begin >= end) {
        return std::nullopt;
    }
    const std::string_view text = line.substr(begin, end - begin);
    switch (check) {
        case Check::ipv4:
            return ipv4(line, begin, end);
        case Check::ipv6:
            return ipv6(line, begin, end);
        case Check::hardware_address:
            return hardware_address(line, begin, end);
        case Check::host_name:
            return Found{begin, end, lower(text)};
        case Check::if_random:
            return looks_random(text) && !is_blind(text) ? whole(line, begin, end) : std::nullopt;
        case Check::unless_prose:
            return is_prose(text) || is_blind(text) ? std::nullopt : whole(line, begin, end);
        default:
            return is_blind(text) ? std::nullopt : whole(line, begin, end);
    }
}

}  // namespace callhome::service
