// How records and commands name the destination profiles.
#pragma once

#include <array>

#include "frame/keywords.h"
#include "frame/text.h"
#include "frame/tokens.h"

namespace callhome::library {

inline constexpr const char* full_text_profile_name = "full_txt";
inline constexpr const char* short_text_profile_name = "short_txt";
inline constexpr const char* zuva_profile_name = "ZUVA-profile";

struct BuiltInProfile {
    std::uint32_t keyword;
    const char* name;  // in records
};

inline constexpr std::array built_in_profiles{
    BuiltInProfile{keyword_zuva_profile, zuva_profile_name},
    BuiltInProfile{keyword_full_text_profile, full_text_profile_name},
    BuiltInProfile{keyword_short_text_profile, short_text_profile_name},
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
