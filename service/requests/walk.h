// Walks over the entries that belong to a profile.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "requests/call.h"

namespace callhome::service {

// The entry behind the cursor, or a null pointer. `entries` stand in the order of their index.
template <typename Entry>
const Entry* entry_after(const std::vector<Entry>& entries, std::uint32_t cursor) {
    const auto next = std::ranges::upper_bound(entries, cursor, {}, &Entry::index);
    return next == entries.end() ? nullptr : &*next;
}

// Answers with `answer(call, profile, entry)` for the entry behind the cursor in the list `list` of a
// profile. A walk stays within its profile; without a name it begins with the first profile that has an
// entry.
template <typename Entry, typename AnswerWith>
Outcome answer_next(Call& call, const std::string& name, std::uint32_t cursor,
                    std::vector<Entry> Profile::*list, const AnswerWith& answer) {
    if (!name.empty()) {
        const Profile* profile = call.copy.find_profile(name);
        const Entry* entry = profile == nullptr ? nullptr : entry_after(profile->*list, cursor);
        return entry == nullptr ? Outcome(protocol::Status::no_further_entry)
                                : answer(call, *profile, *entry);
    }
    for (const Profile& profile : call.shared().profiles) {
        if (const Entry* entry = entry_after(profile.*list, cursor)) {
            return answer(call, profile, *entry);
        }
    }
    return protocol::Status::no_further_entry;
}

}  // namespace callhome::service
