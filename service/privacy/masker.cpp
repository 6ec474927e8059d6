#include "privacy/masker.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "privacy/compiled_rules.h"
#include "privacy/mask.h"

namespace callhome::service {
namespace {

constexpr std::size_t shortest_name = 2;  // of what is looked for as a word
constexpr std::size_t shortest_serial = 4;
constexpr std::size_t most_known = 256;     // secrets that are looked for everywhere
constexpr std::size_t longest_known = 128;  // bytes
constexpr std::int64_t known_memory = 64L * 1024 * 1024;

struct Rules {
    std::vector<CompiledRule> secrets = compiled(secret_rules());
    std::vector<CompiledRule> identities = compiled(identity_rules());
    std::vector<CompiledRule> kept = compiled(kept_rules());
    std::vector<CompiledBlock> blocks = compiled(block_rules());
};

const Rules& rules() {
    static const Rules compiled_once;
    return compiled_once;
}

std::string lower(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

// What systems say that have no name of their own.
bool is_no_name(std::string_view value) {
    constexpr std::string_view nothing[] = {"", "unknown", "localhost", "(none)", "none"};
    return std::ranges::find(nothing, lower(value)) != std::end(nothing);
}

constexpr const char* before_word = "(?:^|[^0-9A-Za-z_-])";
constexpr const char* after_word = "(?:[^0-9A-Za-z_-]|$)";

// The name by itself and with any domain behind it; of a name with a domain also its first part.
CompiledRule host_rule(const std::string& name) {
    std::string shortest = name.substr(0, name.find('.'));
    const bool is_number = shortest.find_first_not_of("0123456789") == std::string::npos;
    if (is_number || shortest.size() < shortest_name) {
        shortest = name;
    }
    constexpr const char* domain = R"((?:\.[0-9a-z](?:[0-9a-z-]*[0-9a-z])?)*)";
    return compiled(
        lower(shortest), Check::host_name,
        fmt::format("(?i){}({}{}){}", before_word, RE2::QuoteMeta(shortest), domain, after_word));
}

CompiledRule serial_rule(const std::string& number) {
    return compiled(lower(number), Check::anything,
                    fmt::format("{}({}){}", before_word, RE2::QuoteMeta(number), after_word));
}

// What overlaps is one secret.
std::vector<Found> joined(std::vector<Found> found, std::string_view text) {
    std::ranges::sort(found, [](const Found& a, const Found& b) {
        return a.begin != b.begin ? a.begin < b.begin : a.end > b.end;
    });
    std::vector<Found> result;
    for (Found& next : found) {
        if (result.empty() || next.begin >= result.back().end) {
            result.push_back(std::move(next));
        } else if (next.end > result.back().end) {
            Found& last = result.back();
            last.end = next.end;
            last.identity = text.substr(last.begin, last.end - last.begin);
        }
    }
    return result;
}

// "public" and "Admin" stand in many a sentence; "kXbWq" does not.
bool is_no_word(std::string_view secret) {
    constexpr std::size_t shortest = 8;
    const auto is_upper = [](unsigned char c) { return std::isupper(c) != 0; };
    const auto is_lower = [](unsigned char c) { return std::islower(c) != 0; };
    const bool is_mixed = std::any_of(secret.begin(), secret.end(), is_lower) &&
                          std::any_of(secret.begin() + 1, secret.end(), is_upper);
    return secret.size() >= shortest && (is_mixed || looks_random(secret));
}

bool may_be_kept(Check check) {
    return check == Check::unless_prose || check == Check::if_random || check == Check::ipv4 ||
           check == Check::ipv6;
}

}  // namespace

class Masker::Implementation {
 public:
    Implementation(const Privacy& privacy, const KnownNames& names);

    std::string masked(std::string_view text);
    std::string mask_of(const std::string& identity);
    std::string without_known(std::string text);
    const Privacy& privacy() const { return privacy_; }

 private:
    void find(const CompiledRule& rule, TextLines& lines, std::vector<Found>& found);
    void remove_kept(std::string_view line, std::vector<Found>& found);
    std::vector<Found> all_in(std::string_view text);
    void learn(std::string_view secret);
    const RE2* known_pattern();

    Privacy privacy_;
    std::vector<CompiledRule> names_;
    std::unordered_map<std::string, std::size_t> numbers_;  // by identity
    std::unordered_set<std::string> known_;
    std::unique_ptr<const RE2> known_pattern_;  // null when there is none yet or anew
};

Masker::Implementation::Implementation(const Privacy& privacy, const KnownNames& names)
    : privacy_(privacy) {
    if (privacy.host_name && !is_no_name(names.host_name) && names.host_name.size() >= shortest_name) {
        names_.push_back(host_rule(names.host_name));
    }
    if (privacy.high && !is_no_name(names.serial_number) && names.serial_number.size() >= shortest_serial) {
        names_.push_back(serial_rule(names.serial_number));
    }
}

std::string Masker::Implementation::mask_of(const std::string& identity) {
    return mask_text(numbers_.try_emplace(identity, numbers_.size() + 1).first->second);
}

void Masker::Implementation::learn(std::string_view secret) {
    const bool fits = secret.size() <= longest_known && secret.find('\n') == std::string_view::npos;
    if (fits && known_.size() < most_known && is_no_word(secret) && known_.emplace(secret).second) {
        known_pattern_.reset();
    }
}

void Masker::Implementation::remove_kept(std::string_view line, std::vector<Found>& found) {
    std::vector<Found> kept;
    for (const CompiledRule& rule : rules().kept) {
        find_in_line(rule, line, kept);
    }
    kept = joined(std::move(kept), line);
    std::erase_if(found, [&](const Found& secret) {
        const auto next = std::ranges::upper_bound(kept, secret.begin, {}, &Found::begin);
        return next != kept.begin() && secret.begin < std::prev(next)->end;
    });
}

void Masker::Implementation::find(const CompiledRule& rule, TextLines& lines, std::vector<Found>& found) {
    for (const std::size_t begin : lines.with_one_of(rule.hints)) {
        const std::string_view line = lines.line_at(begin);
        std::vector<Found> in_line;
        find_in_line(rule, line, in_line);
        if (!in_line.empty() && may_be_kept(rule.check)) {
            remove_kept(line, in_line);
        }
        for (Found& secret : in_line) {
            if (rule.check <= Check::if_random) {
                learn(secret.identity);
            }
            secret.begin += begin;
            secret.end += begin;
            found.push_back(std::move(secret));
        }
    }
}

std::vector<Found> Masker::Implementation::all_in(std::string_view text) {
    std::vector<Found> found;
    TextLines lines(text);
    for (const CompiledRule& rule : rules().secrets) {
        find(rule, lines, found);
    }
    std::vector<Found> in_blocks;
    for (const CompiledBlock& rule : rules().blocks) {
        find_blocks(rule, lines, in_blocks);
    }
    for (Found& secret : in_blocks) {
        learn(secret.identity);
        found.push_back(std::move(secret));
    }
    for (const CompiledRule& rule : names_) {
        find(rule, lines, found);
    }
    if (privacy_.high) {
        for (const CompiledRule& rule : rules().identities) {
            find(rule, lines, found);
        }
    }
    return joined(std::move(found), text);
}

std::string Masker::Implementation::masked(std::string_view text) {
    std::string result;
    std::size_t copied = 0;
    for (const Found& secret : all_in(text)) {
        result += text.substr(copied, secret.begin - copied);
        result += mask_of(secret.identity);
        copied = secret.end;
    }
    return result += text.substr(copied);
}

const RE2* Masker::Implementation::known_pattern() {
    if (known_pattern_ == nullptr && !known_.empty()) {
        std::vector<std::string> quoted;
        std::ranges::transform(known_, std::back_inserter(quoted),
                               [](const std::string& secret) { return RE2::QuoteMeta(secret); });
        RE2::Options options;
        options.set_log_errors(false);
        options.set_longest_match(true);
        options.set_max_mem(known_memory);
        known_pattern_ = std::make_unique<const RE2>(
            fmt::format("(?:^|[^0-9A-Za-z])({})(?:[^0-9A-Za-z]|$)", fmt::join(quoted, "|")), options);
    }
    return known_pattern_ != nullptr && known_pattern_->ok() ? known_pattern_.get() : nullptr;
}

std::string Masker::Implementation::without_known(std::string text) {
    const RE2* pattern = known_pattern();
    if (pattern == nullptr) {
        return text;
    }
    std::string result;
    std::size_t copied = 0;
    re2::StringPiece groups[2];
    while (pattern->Match(text, copied, text.size(), RE2::UNANCHORED, groups, 2)) {
        const auto begin = static_cast<std::size_t>(groups[1].data() - text.data());
        result.append(text, copied, begin - copied);
        result += mask_of(std::string(groups[1]));
        copied = begin + groups[1].size();
    }
    return result.append(text, copied);
}

Masker::Masker(const Privacy& privacy, const KnownNames& names)
    : implementation_(std::make_unique<Implementation>(privacy, names)) {}

Masker::~Masker() = default;

std::string Masker::masked(std::string_view text) {
    return implementation_->masked(text);
}

void Masker::mask_lines(std::vector<std::string>& lines) {
    if (lines.empty()) {
        return;
    }
    std::string text;
    for (const std::string& line : lines) {
        text += line + '\n';
    }
    text.pop_back();
    const std::string result = masked(text);
    if (result == text) {
        return;
    }
    lines.clear();
    for (std::size_t begin = 0; begin <= result.size();) {
        const std::size_t end = std::min(result.find('\n', begin), result.size());
        lines.push_back(result.substr(begin, end - begin));
        begin = end + 1;
    }
}

std::string Masker::masked_host_name(const std::string& value) {
    return implementation_->privacy().host_name && !is_no_name(value)
               ? implementation_->mask_of(lower(value))
               : masked(value);
}

std::string Masker::masked_serial_number(const std::string& value) {
    return implementation_->privacy().high && !is_no_name(value) ? implementation_->mask_of(value)
                                                                 : masked(value);
}

std::string Masker::without_known(std::string text) {
    return implementation_->without_known(std::move(text));
}

}  // namespace callhome::service
