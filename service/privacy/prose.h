#pragma once

#include <string_view>

namespace callhome::service {

// True for a lower-case word that follows "password", "secret", "key" and the like in sentences and
// commands without being one, or that says in place of one whether there is any.
bool is_prose_word(std::string_view word);

}  // namespace callhome::service
