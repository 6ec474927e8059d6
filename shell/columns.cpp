#include "columns.h"

#include <array>
#include <ctime>

namespace callhome::shell {

namespace {

std::string formatted(const std::tm& parts, const char* format) {
    constexpr std::size_t longest_time = 32;
    std::array<char, longest_time> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), format, &parts);
    return {text.data(), length};
}

std::string utc_time(Time time) {
    const auto seconds = static_cast<std::time_t>(time.seconds);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    return formatted(parts, "%FT%TZ");
}

}  // namespace

std::string local_time(Time time) {
    if (time.seconds == 0) {
        return "-";
    }
    const auto seconds = static_cast<std::time_t>(time.seconds);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    return formatted(parts, "%F %T");
}

std::string cell_text(const Cell& cell) {
    if (const auto* number = std::get_if<std::uint32_t>(&cell)) {
        return std::to_string(*number);
    }
    const auto* time = std::get_if<Time>(&cell);
    return time != nullptr ? local_time(*time) : std::get<std::string>(cell);
}

void set_cell(std::string_view place, const Cell& cell) {
    if (const auto* number = std::get_if<std::uint32_t>(&cell)) {
        platform::set_value(place, static_cast<std::int64_t>(*number));
    } else if (const auto* text = std::get_if<std::string>(&cell)) {
        platform::set_value(place, *text);
    } else if (const Time time = std::get<Time>(cell); time.seconds != 0) {
        platform::set_value(place, utc_time(time));
    }
}

}  // namespace callhome::shell
