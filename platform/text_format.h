// Texts of the structured output: a format that can do no harm, whatever it says.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace callhome::platform {

// Shows one value: the text that stands in the output for a value shown with a conversion such as
// "%-20.19s"; nothing when there is no value left.
struct Conversion {
    bool left_aligned = false;
    std::size_t width = 0;
    std::size_t precision = std::string::npos;  // at most so many bytes
};
using NextValue = std::function<std::optional<std::string>(const Conversion&)>;

// Replaces each %s (with flags, width and precision) by a value, and %% by one percent sign. Percent
// signs that begin something else, and those that have no value, are text.
std::string expand(std::string_view format, const NextValue& next_value);

// A value as a conversion shows it.
std::string render(std::string_view value, const Conversion& conversion);

}  // namespace callhome::platform
