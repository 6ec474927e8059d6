#include "privacy/findings_memory.h"

#include <utility>

namespace callhome::service {
namespace {

constexpr std::size_t share = 8;       // of the room, that one text may have
constexpr std::size_t an_entry = 256;  // bytes, about: the list, the table, what strings take
constexpr std::size_t a_secret = sizeof(Found);

std::size_t weight_of(std::string_view text, const Findings& findings) {
    std::size_t bytes = an_entry + text.size();
    for (const Found& secret : findings.secrets) {
        bytes += a_secret + secret.identity.size();
    }
    for (const std::string& secret : findings.to_learn) {
        bytes += sizeof secret + secret.size();
    }
    return bytes;
}

}  // namespace

bool FindingsMemory::is_kept(std::string_view text) const {
    return text.size() <= limits_.bytes / share;
}

const Findings* FindingsMemory::of(std::string_view text) {
    const auto known = by_text_.find(text);
    if (known == by_text_.end()) {
        return nullptr;
    }
    entries_.splice(entries_.begin(), entries_, known->second);
    return &known->second->findings;
}

const Findings& FindingsMemory::keep(std::string_view text, Findings findings) {
    const std::size_t weight = weight_of(text, findings);
    entries_.push_front({std::string(text), std::move(findings), weight});
    by_text_.emplace(entries_.front().text, entries_.begin());
    bytes_ += weight;
    while (entries_.size() > 1 && (bytes_ > limits_.bytes || entries_.size() > limits_.texts)) {
        drop_oldest();
    }
    return entries_.front().findings;
}

void FindingsMemory::drop_oldest() {
    bytes_ -= entries_.back().weight;
    by_text_.erase(entries_.back().text);
    entries_.pop_back();
}

}  // namespace callhome::service
