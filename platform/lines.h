// Text as lines.
#pragma once

#include <algorithm>
#include <string_view>

namespace callhome::platform {

// Calls `take` with each line, without its line end; with what stands behind the last line end, too, unless
// that is nothing.
template <typename Take>
void each_line(std::string_view text, Take take) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// Line ends alone are layout, which a document has no use for.
constexpr bool is_layout(std::string_view text) {
    return text.find_first_not_of('\n') == std::string_view::npos;
}

}  // namespace callhome::platform
