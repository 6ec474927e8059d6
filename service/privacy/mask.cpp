#include "privacy/mask.h"

#include <fmt/format.h>

#include <algorithm>

namespace callhome::service {
namespace {

constexpr std::string_view opening = "<masked-";
constexpr char closing = '>';
constexpr std::size_t longest_number = 20;  // digits
constexpr std::size_t longest_mask = opening.size() + longest_number + 1;

}  // namespace

std::string mask_text(std::size_t number) {
    return fmt::format("{}{}{}", opening, number, closing);
}

std::size_t mask_at_beginning(std::string_view text) {
    if (!text.starts_with(opening)) {
        return 0;
    }
    const std::size_t end = text.find_first_not_of("0123456789", opening.size());
    const bool whole = end != std::string_view::npos && end > opening.size() &&
                       end - opening.size() <= longest_number && text[end] == closing;
    return whole ? end + 1 : 0;
}

std::size_t before_mask(std::string_view text, std::size_t size) {
    if (size == 0 || size >= text.size()) {
        return size;
    }
    const std::size_t begin = text.rfind(opening.front(), size - 1);
    if (begin == std::string_view::npos || size - begin >= longest_mask) {
        return size;
    }
    return begin + mask_at_beginning(text.substr(begin)) > size ? begin : size;
}

}  // namespace callhome::service
