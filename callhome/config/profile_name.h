// How the commands about destination profiles name a profile.
#pragma once

#include <array>

#include "frame/keywords.h"
#include "frame/text.h"
#include "frame/tokens.h"

namespace callhome::library {

struct BuiltInProfile {
    std::uint32_t keyword;
    const char* name;  // in records
};

inline constexpr std::array built_in_profiles{
    BuiltInProfile{keyword_zuva_profile, "ZUVA-profile"},
    BuiltInProfile{keyword_full_text_profile, "full_txt"},
    BuiltInProfile{keyword_short_text_profile, "short_txt"},
};

// Puts the name into a record when the token names a profile.
template <std::size_t size>
void take_profile_name(char (&name)[size], const TokenRecord& token) {
    if (token.keyword_id == keyword_user_profile) {
        copy_text(name, text_value(token));
    }
    for (const BuiltInProfile& profile : built_in_profiles) {
        if (token.keyword_id == profile.keyword) {
            copy_text(name, profile.name);
        }
    }
}

}  // namespace callhome::library
