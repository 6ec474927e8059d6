#include "privacy/masker.h"

#include <re2/re2.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "privacy/mask.h"

namespace callhome::service {
namespace {

constexpr std::size_t few_known = 8;

}  // namespace

class Masker::Implementation {
 public:
    explicit Implementation(std::shared_ptr<SecretFinder> finder) : finder_(std::move(finder)) {}

    std::string masked(std::string_view text);
    std::string mask_of(const std::string& identity);
    std::string without_known(std::string text);
    const Privacy& privacy() const { return finder_->privacy(); }

 private:
    bool holds_no_known(const std::string& text) const;

    std::shared_ptr<SecretFinder> finder_;
    std::unordered_map<std::string, std::size_t> numbers_;  // by identity
    KnownSecrets known_;
};

std::string Masker::Implementation::mask_of(const std::string& identity) {
    return mask_text(numbers_.try_emplace(identity, numbers_.size() + 1).first->second);
}

std::string Masker::Implementation::masked(std::string_view text) {
    const Findings& findings = finder_->found_in(text);
    for (const std::string& secret : findings.to_learn) {
        if (known_.size() < most_known_secrets) {
            known_.insert(secret);
        }
    }
    std::string result;
    std::size_t copied = 0;
    for (const Found& secret : findings.secrets) {
        result += text.substr(copied, secret.begin - copied);
        result += mask_of(secret.identity);
        copied = secret.end;
    }
    return result += text.substr(copied);
}

// Most texts hold none of them, and few are looked for faster than a pattern is entered.
bool Masker::Implementation::holds_no_known(const std::string& text) const {
    return known_.size() <= few_known && std::ranges::none_of(known_, [&](const std::string& secret) {
               return text.find(secret) != std::string::npos;
           });
}

std::string Masker::Implementation::without_known(std::string text) {
    const RE2* pattern = holds_no_known(text) ? nullptr : finder_->pattern_of(known_);
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
    : Masker(std::make_shared<SecretFinder>(privacy, names)) {}

Masker::Masker(std::shared_ptr<SecretFinder> finder)
    : implementation_(std::make_unique<Implementation>(std::move(finder))) {}

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
               ? implementation_->mask_of(lower_case(value))
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
