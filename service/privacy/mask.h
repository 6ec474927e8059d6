// What stands in a message where a secret stood.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace callhome::service {

// "<masked-3>"
std::string mask_text(std::size_t number);

// The bytes of the mask that `text` begins with; 0 where there is none.
std::size_t mask_at_beginning(std::string_view text);

// `size`, or where the mask begins that a cut after `size` bytes would go through.
std::size_t before_mask(std::string_view text, std::size_t size);

}  // namespace callhome::service
