#include "signatures/cron.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <ctime>
#include <span>
#include <vector>

namespace callhome::service {
namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::weekday;
using std::chrono::year_month_day;

constexpr std::size_t longest_expression = 255;
constexpr std::size_t field_count = 5;
constexpr int days_ahead = 40 * 366;  // a leap day may be wanted that is a Sunday
constexpr int first_year = 1900;      // of struct tm
constexpr int last_year = 9999;
constexpr int hours_in_day = 24;
constexpr int minutes_in_hour = 60;
constexpr std::size_t sunday_again = 7;

constexpr std::array<std::string_view, 12> month_names{"jan", "feb", "mar", "apr", "may", "jun",
                                                       "jul", "aug", "sep", "oct", "nov", "dec"};
constexpr std::array<std::string_view, 7> weekday_names{"sun", "mon", "tue", "wed", "thu", "fri", "sat"};

struct FieldRule {
    CronSchedule::Numbers CronSchedule::*numbers;
    std::size_t lowest;
    std::size_t highest;
    std::span<const std::string_view> names;  // the first stands for the lowest number
};

constexpr std::array<FieldRule, field_count> field_rules{{
    {&CronSchedule::minutes, 0, 59, {}},
    {&CronSchedule::hours, 0, 23, {}},
    {&CronSchedule::days, 1, 31, {}},
    {&CronSchedule::months, 1, 12, month_names},
    {&CronSchedule::weekdays, 0, sunday_again, weekday_names},
}};

std::vector<std::string_view> split(std::string_view text, char mark) {
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t end = std::min(text.find(mark), text.size());
        parts.push_back(text.substr(0, end));
        if (end == text.size()) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

bool is_same_word(std::string_view a, std::string_view b) {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    };
    return std::ranges::equal(a, b, {}, lower, lower);
}

std::optional<std::size_t> read_number(std::string_view text, const FieldRule& rule) {
    const auto name =
        std::ranges::find_if(rule.names, [text](std::string_view its) { return is_same_word(its, text); });
    if (name != rule.names.end()) {
        return rule.lowest + static_cast<std::size_t>(name - rule.names.begin());
    }
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || number < rule.lowest ||
        number > rule.highest) {
        return std::nullopt;
    }
    return number;
}

struct Range {
    std::size_t first;
    std::size_t last;
};

std::optional<Range> read_range(std::string_view text, const FieldRule& rule) {
    if (text == "*") {
        return Range{rule.lowest, rule.highest};
    }
    const std::size_t dash = text.find('-');
    const auto first = read_number(text.substr(0, dash), rule);
    const auto last = dash == std::string_view::npos ? first : read_number(text.substr(dash + 1), rule);
    if (!first || !last || *first > *last) {
        return std::nullopt;
    }
    return Range{*first, *last};
}

// A range, and each how-manieth number of it counts.
bool add_element(std::string_view text, const FieldRule& rule, CronSchedule::Numbers& numbers) {
    const std::size_t slash = text.find('/');
    const std::string_view range_text = text.substr(0, slash);
    const auto range = read_range(range_text, rule);
    std::size_t step = 1;
    if (slash != std::string_view::npos) {
        const bool is_range = range_text == "*" || range_text.find('-') != std::string_view::npos;
        const FieldRule steps{rule.numbers, 1, rule.highest, {}};
        const auto read = read_number(text.substr(slash + 1), steps);
        if (!is_range || !read) {
            return false;
        }
        step = *read;
    }
    if (!range) {
        return false;
    }
    for (std::size_t number = range->first; number <= range->last; number += step) {
        numbers.set(number);
    }
    return true;
}

bool is_day(const CronSchedule& schedule, sys_days day) {
    const year_month_day date(day);
    if (!schedule.months.test(static_cast<unsigned>(date.month()))) {
        return false;
    }
    const bool day_fits = schedule.days.test(static_cast<unsigned>(date.day()));
    const bool weekday_fits = schedule.weekdays.test(weekday(day).c_encoding());
    if (schedule.any_day || schedule.any_weekday) {
        return day_fits && weekday_fits;
    }
    return day_fits || weekday_fits;
}

// The moment at which clocks show this minute; `summer` says which of two when they show it twice. Nothing
// when they skip it, or show it only in the other half of the year.
std::optional<std::int64_t> moment_of(const year_month_day& date, int hour, int minute, bool summer) {
    std::tm wanted{};
    wanted.tm_year = static_cast<int>(date.year()) - first_year;
    wanted.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    wanted.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    wanted.tm_hour = hour;
    wanted.tm_min = minute;
    wanted.tm_isdst = summer ? 1 : 0;
    const std::time_t moment = std::mktime(&wanted);
    std::tm shown{};
    if (::localtime_r(&moment, &shown) == nullptr || shown.tm_hour != hour || shown.tm_min != minute) {
        return std::nullopt;
    }
    return moment;
}

// What names its hours means each once, also where clocks are set back; what goes by minutes goes on.
std::optional<std::int64_t> moment_after(const CronSchedule& schedule, const year_month_day& date, int hour,
                                         int minute, std::int64_t moment) {
    const bool each_hour = schedule.hours.count() == hours_in_day;
    std::optional<std::int64_t> first;
    for (const bool summer : {true, false}) {
        const auto candidate = moment_of(date, hour, minute, summer);
        if (candidate && (!each_hour || *candidate > moment) && (!first || *candidate < *first)) {
            first = candidate;
        }
    }
    return first && *first > moment ? first : std::nullopt;
}

std::optional<std::int64_t> next_in_hour(const CronSchedule& schedule, const year_month_day& date, int hour,
                                         std::int64_t moment) {
    std::optional<std::int64_t> next;
    for (int minute = 0; minute < minutes_in_hour; ++minute) {
        if (schedule.minutes.test(static_cast<std::size_t>(minute))) {
            const auto candidate = moment_after(schedule, date, hour, minute, moment);
            if (candidate && (!next || *candidate < *next)) {
                next = candidate;
            }
        }
    }
    return next;
}

}  // namespace

std::optional<CronSchedule> read_cron(std::string_view expression) {
    const std::vector<std::string_view> fields = split(expression.substr(0, longest_expression), ' ');
    if (expression.size() > longest_expression || fields.size() != field_count) {
        return std::nullopt;
    }
    CronSchedule schedule;
    for (std::size_t i = 0; i < field_count; ++i) {
        const FieldRule& rule = field_rules[i];
        for (const std::string_view element : split(fields[i], ',')) {
            if (!add_element(element, rule, schedule.*rule.numbers)) {
                return std::nullopt;
            }
        }
    }
    if (schedule.weekdays.test(sunday_again)) {
        schedule.weekdays.set(0);
        schedule.weekdays.reset(sunday_again);
    }
    constexpr std::size_t day_field = 2;
    constexpr std::size_t weekday_field = 4;
    schedule.any_day = fields[day_field].starts_with('*');
    schedule.any_weekday = fields[weekday_field].starts_with('*');
    return schedule;
}

std::optional<std::int64_t> next_time(const CronSchedule& schedule, std::int64_t moment) {
    ::tzset();  // the zone may have been changed since the service was started
    const auto now = static_cast<std::time_t>(moment);
    std::tm local{};
    if (::localtime_r(&now, &local) == nullptr || local.tm_year > last_year - first_year) {
        return std::nullopt;
    }
    const sys_days today(year_month_day(std::chrono::year(local.tm_year + first_year),
                                        std::chrono::month(static_cast<unsigned>(local.tm_mon + 1)),
                                        std::chrono::day(static_cast<unsigned>(local.tm_mday))));
    for (int ahead = 0; ahead < days_ahead; ++ahead) {
        const sys_days day = today + days(ahead);
        if (!is_day(schedule, day)) {
            continue;
        }
        for (int hour = ahead == 0 ? local.tm_hour : 0; hour < hours_in_day; ++hour) {
            if (!schedule.hours.test(static_cast<std::size_t>(hour))) {
                continue;
            }
            if (const auto next = next_in_hour(schedule, day, hour, moment)) {
                return next;
            }
        }
    }
    return std::nullopt;
}

}  // namespace callhome::service
