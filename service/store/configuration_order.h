// The order in which profiles are walked and kept.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "store/configuration.h"

namespace callhome::service {

inline constexpr std::array<std::string_view, 3> built_in_profile_names{"full_txt", "short_txt",
                                                                        "ZUVA-profile"};

// Built-in profiles come first, in the order of their list; all others follow by name.
inline bool walks_before(std::string_view left, std::string_view right) {
    const auto rank = [](std::string_view name) {
        return std::ranges::find(built_in_profile_names, name) - built_in_profile_names.begin();
    };
    return std::pair(rank(left), left) < std::pair(rank(right), right);
}

}  // namespace callhome::service
