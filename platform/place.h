// Where a value stands in a document, as Member::place says it: "list[]/member".
#pragma once

#include <cstddef>
#include <string_view>

namespace callhome::platform {

inline constexpr std::string_view list_mark = "[]";
inline constexpr char place_separator = '/';

struct Component {
    std::string_view name;
    bool is_list;
    bool is_last;
};

// Takes the first component off a place.
constexpr Component take_component(std::string_view& place) {
    const std::size_t end = place.find(place_separator);
    const bool is_last = end == std::string_view::npos;
    std::string_view name = place.substr(0, end);
    const bool is_list = name.ends_with(list_mark);
    name.remove_suffix(is_list ? list_mark.size() : 0);
    place.remove_prefix(is_last ? place.size() : end + 1);
    return {name, is_list, is_last};
}

}  // namespace callhome::platform
