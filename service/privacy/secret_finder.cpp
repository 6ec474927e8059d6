#include "privacy/secret_finder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <unordered_set>
#include <utility>

#include "privacy/compiled_rules.h"

namespace callhome::service {
namespace {

constexpr std::size_t shortest_name = 2;  // of what is looked for as a word
constexpr std::size_t shortest_serial = 4;
constexpr std::size_t longest_known = 128;  // bytes
constexpr std::int64_t known_memory = 16L * 1024 * 1024;

struct Rules {
    std::vector<CompiledRule> secrets = compiled(secret_rules());
    std::vector<CompiledRule> identities = compiled(identity_rules());
    std::vector<CompiledRule> kept = compiled(kept_rules());
    std::vector<CompiledBlock> blocks = compiled(block_rules());
    HintScanner scanner = place_hints();

 private:
    HintScanner place_hints() {
        std::vector<std::string> words;
        const auto rules = {&secrets, &identities, &kept};
        for (const auto* list : rules) {
            for (const CompiledRule& rule : *list) {
                words.insert(words.end(), rule.hints.begin(), rule.hints.end());
            }
        }
        std::ranges::transform(blocks, std::back_inserter(words), &CompiledBlock::hint);
        HintScanner result(std::move(words));
        for (auto* list : rules) {
            std::ranges::for_each(*list,
                                  [&](CompiledRule& rule) { rule.places = result.hints_of(rule.hints); });
        }
        std::ranges::for_each(blocks,
                              [&](CompiledBlock& rule) { rule.places = result.hints_of({rule.hint}); });
        return result;
    }
};

const Rules& rules() {
    static const Rules compiled_once;
    return compiled_once;
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
        lower_case(shortest), Check::host_name,
        fmt::format("(?i){}({}{}){}", before_word, RE2::QuoteMeta(shortest), domain, after_word));
}

CompiledRule serial_rule(const std::string& number) {
    return compiled(lower_case(number), Check::anything,
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

bool can_be_learnt(std::string_view secret) {
    return secret.size() <= longest_known && secret.find('\n') == std::string_view::npos &&
           is_no_word(secret);
}

bool may_be_kept(Check check) {
    return check == Check::unless_prose || check == Check::if_random || check == Check::ipv4 ||
           check == Check::ipv6;
}

// One text on its way through all rules.
class Search {
 public:
    explicit Search(std::string_view text)
        : text_(text), lines_(rules().scanner.lines_of(text)), kept_(lines_.size()) {}

    void with(const std::vector<CompiledRule>& list);
    void with_blocks();
    void with_names(const std::vector<CompiledRule>& names);
    Findings findings() && { return {joined(std::move(found_), text_), std::move(to_learn_)}; }

 private:
    void take(const CompiledRule& rule, std::size_t begin, std::vector<Found> in_line);
    void learn(const std::string& secret);
    const std::vector<Found>& kept_in(std::size_t number);
    void remove_kept(std::size_t number, std::vector<Found>& found);

    std::string_view text_;
    std::vector<HintedLine> lines_;
    std::vector<std::optional<std::vector<Found>>> kept_;  // by line
    std::vector<Found> found_;
    std::vector<std::string> to_learn_;
    std::unordered_set<std::string> learnt_;
};

void Search::learn(const std::string& secret) {
    if (can_be_learnt(secret) && learnt_.size() < most_known_secrets && learnt_.insert(secret).second) {
        to_learn_.push_back(secret);
    }
}

const std::vector<Found>& Search::kept_in(std::size_t number) {
    std::optional<std::vector<Found>>& kept = kept_[number];
    if (!kept) {
        const std::string_view line = line_at(text_, lines_[number].begin);
        std::vector<Found> found;
        for (const CompiledRule& rule : rules().kept) {
            if ((rule.places & lines_[number].hints).any()) {
                find_in_line(rule, line, found);
            }
        }
        kept = joined(std::move(found), line);
    }
    return *kept;
}

void Search::remove_kept(std::size_t number, std::vector<Found>& found) {
    const std::vector<Found>& kept = kept_in(number);
    std::erase_if(found, [&](const Found& secret) {
        const auto next = std::ranges::upper_bound(kept, secret.begin, {}, &Found::begin);
        return next != kept.begin() && secret.begin < std::prev(next)->end;
    });
}

void Search::take(const CompiledRule& rule, std::size_t begin, std::vector<Found> in_line) {
    for (Found& secret : in_line) {
        if (rule.check <= Check::if_random) {
            learn(secret.identity);
        }
        secret.begin += begin;
        secret.end += begin;
        found_.push_back(std::move(secret));
    }
}

void Search::with(const std::vector<CompiledRule>& list) {
    for (const CompiledRule& rule : list) {
        for (std::size_t number = 0; number < lines_.size(); ++number) {
            if ((rule.places & lines_[number].hints).none()) {
                continue;
            }
            std::vector<Found> in_line;
            find_in_line(rule, line_at(text_, lines_[number].begin), in_line);
            if (!in_line.empty() && may_be_kept(rule.check)) {
                remove_kept(number, in_line);
            }
            take(rule, lines_[number].begin, std::move(in_line));
        }
    }
}

void Search::with_blocks() {
    for (const CompiledBlock& rule : rules().blocks) {
        std::vector<Found> in_blocks;
        find_blocks(rule, text_, lines_, in_blocks);
        for (Found& secret : in_blocks) {
            learn(secret.identity);
            found_.push_back(std::move(secret));
        }
    }
}

// A name is no hint that all finders share.
void Search::with_names(const std::vector<CompiledRule>& names) {
    if (names.empty()) {
        return;
    }
    const std::string lowered = lower_case(text_);
    for (const CompiledRule& rule : names) {
        for (const std::size_t begin : lines_with(rule.hints.front(), lowered)) {
            std::vector<Found> in_line;
            find_in_line(rule, line_at(text_, begin), in_line);
            take(rule, begin, std::move(in_line));
        }
    }
}

std::unique_ptr<const RE2> pattern_of_any(const KnownSecrets& secrets) {
    std::vector<std::string> quoted;
    std::ranges::transform(secrets, std::back_inserter(quoted),
                           [](const std::string& secret) { return RE2::QuoteMeta(secret); });
    RE2::Options options;
    options.set_log_errors(false);
    options.set_longest_match(true);
    options.set_max_mem(known_memory);
    return std::make_unique<const RE2>(
        fmt::format("(?:^|[^0-9A-Za-z])({})(?:[^0-9A-Za-z]|$)", fmt::join(quoted, "|")), options);
}

}  // namespace

class SecretFinder::Implementation {
 public:
    Implementation(const Privacy& privacy, KnownNames names, const FindingsLimits& limits);

    bool is_for(const Privacy& privacy, const KnownNames& names) const {
        return privacy == privacy_ && names == names_;
    }
    const Privacy& privacy() const { return privacy_; }
    const Findings& found_in(std::string_view text);
    const RE2* pattern_of(const KnownSecrets& secrets);

 private:
    Findings search(std::string_view text) const;

    const Privacy privacy_;
    const KnownNames names_;
    std::vector<CompiledRule> name_rules_;
    FindingsMemory memory_;
    Findings of_long_text_;
    KnownSecrets in_pattern_;
    std::unique_ptr<const RE2> pattern_;  // of those
};

SecretFinder::Implementation::Implementation(const Privacy& privacy, KnownNames names,
                                             const FindingsLimits& limits)
    : privacy_(privacy), names_(std::move(names)), memory_(limits) {
    if (privacy.host_name && !is_no_name(names_.host_name) && names_.host_name.size() >= shortest_name) {
        name_rules_.push_back(host_rule(names_.host_name));
    }
    if (privacy.high && !is_no_name(names_.serial_number) &&
        names_.serial_number.size() >= shortest_serial) {
        name_rules_.push_back(serial_rule(names_.serial_number));
    }
}

Findings SecretFinder::Implementation::search(std::string_view text) const {
    Search search(text);
    search.with(rules().secrets);
    search.with_blocks();
    search.with_names(name_rules_);
    if (privacy_.high) {
        search.with(rules().identities);
    }
    return std::move(search).findings();
}

const Findings& SecretFinder::Implementation::found_in(std::string_view text) {
    of_long_text_ = {};
    if (!memory_.is_kept(text)) {
        return of_long_text_ = search(text);
    }
    const Findings* known = memory_.of(text);
    return known != nullptr ? *known : memory_.keep(text, search(text));
}

const RE2* SecretFinder::Implementation::pattern_of(const KnownSecrets& secrets) {
    if (secrets.empty()) {
        return nullptr;
    }
    if (pattern_ == nullptr || secrets != in_pattern_) {
        pattern_ = pattern_of_any(secrets);
        in_pattern_ = secrets;
    }
    return pattern_->ok() ? pattern_.get() : nullptr;
}

bool is_no_name(std::string_view value) {
    constexpr std::string_view nothing[] = {"", "unknown", "localhost", "(none)", "none"};
    return std::ranges::find(nothing, lower_case(value)) != std::end(nothing);
}

std::string lower_case(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

SecretFinder::SecretFinder(const Privacy& privacy, KnownNames names, const FindingsLimits& limits)
    : implementation_(std::make_unique<Implementation>(privacy, std::move(names), limits)) {}

SecretFinder::~SecretFinder() = default;

bool SecretFinder::is_for(const Privacy& privacy, const KnownNames& names) const {
    return implementation_->is_for(privacy, names);
}

const Privacy& SecretFinder::privacy() const {
    return implementation_->privacy();
}

const Findings& SecretFinder::found_in(std::string_view text) {
    return implementation_->found_in(text);
}

const RE2* SecretFinder::pattern_of(const KnownSecrets& secrets) {
    return implementation_->pattern_of(secrets);
}

}  // namespace callhome::service
