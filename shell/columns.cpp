#include "columns.h"

#include <array>
#include <ctime>

#include "platform/reference.h"

namespace callhome::shell {

namespace {

std::string utc_time(Time time) {
    const auto seconds = static_cast<std::time_t>(time.seconds);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    constexpr std::size_t longest_time = 32;
    std::array<char, longest_time> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%FT%TZ", &parts);
    return {text.data(), length};
}

}  // namespace

std::string local_time(Time time) {
    if (time.seconds == 0) {
        return "-";
    }
    return platform::local_time_text(time.seconds);
}

std::string cell_text(const Cell& cell) {
    if (const auto* number = std::get_if<std::uint32_t>(&cell)) {
        return std::to_string(*number);
    }
    const auto* time = std::get_if<Time>(&cell);
    return time != nullptr ? local_time(*time) : std::get<std::string>(cell);
}

bool is_empty(const Cell& cell) {
    if (const auto* text = std::get_if<std::string>(&cell)) {
        return text->empty();
    }
    const auto* time = std::get_if<Time>(&cell);
    return time != nullptr && time->seconds == 0;
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
