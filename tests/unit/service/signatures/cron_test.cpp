#include "signatures/cron.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace callhome::service {
namespace {

// A time zone for as long as the object lives.
class Zone {
 public:
    explicit Zone(const char* name) {
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    ~Zone() {
        ::unsetenv("TZ");
        ::tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;
};

constexpr const char* format = "%a %Y-%m-%d %H:%M:%S";

std::int64_t moment(const char* text, const char* how = "%Y-%m-%d %H:%M:%S") {
    std::tm local{};
    local.tm_isdst = -1;
    EXPECT_NE(::strptime(text, how, &local), nullptr) << text;
    return std::mktime(&local);
}

std::string shown(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    ::localtime_r(&time, &local);
    char text[64];
    return {text, std::strftime(text, sizeof(text), format, &local)};
}

std::string next(const char* expression, std::int64_t after) {
    const auto schedule = read_cron(expression);
    if (!schedule) {
        return "no expression";
    }
    const auto time = next_time(*schedule, after);
    return time ? shown(*time) : "never";
}

TEST(Cron, FindsTheNextTime) {
    const Zone zone("UTC");
    struct Row {
        const char* expression;
        const char* after;
        const char* expected;
    };
    constexpr Row rows[]{
        {"* * * * *", "2026-03-01 08:00:00", "Sun 2026-03-01 08:01:00"},
        {"* * * * *", "2026-03-01 08:00:59", "Sun 2026-03-01 08:01:00"},
        {"* * * * *", "2026-12-31 23:59:00", "Fri 2027-01-01 00:00:00"},
        {"30 8 * * *", "2026-03-01 08:29:59", "Sun 2026-03-01 08:30:00"},
        {"30 8 * * *", "2026-03-01 08:30:00", "Mon 2026-03-02 08:30:00"},
        {"*/15 * * * *", "2026-03-01 08:46:00", "Sun 2026-03-01 09:00:00"},
        {"5-20/7 * * * *", "2026-03-01 08:12:00", "Sun 2026-03-01 08:19:00"},
        {"10,50 8-9 * * *", "2026-03-01 09:50:00", "Mon 2026-03-02 08:10:00"},
        {"0 0 1 * *", "2026-03-01 00:00:00", "Wed 2026-04-01 00:00:00"},
        {"0 0 31 * *", "2026-03-31 00:00:00", "Sun 2026-05-31 00:00:00"},
        {"0 0 29 2 *", "2026-03-01 00:00:00", "Tue 2028-02-29 00:00:00"},
        {"0 0 29 feb *", "2096-03-01 00:00:00", "Fri 2104-02-29 00:00:00"},
        {"0 12 * * mon", "2026-03-01 13:00:00", "Mon 2026-03-02 12:00:00"},
        {"0 12 * * MON-fri", "2026-03-06 12:00:00", "Mon 2026-03-09 12:00:00"},
        {"0 12 * * 7", "2026-03-02 00:00:00", "Sun 2026-03-08 12:00:00"},
        {"0 12 * * 6-7", "2026-03-07 12:00:00", "Sun 2026-03-08 12:00:00"},
        {"0 0 * jan,DEC *", "2026-02-01 00:00:00", "Tue 2026-12-01 00:00:00"},
        // With both days restricted, either is meant.
        {"0 0 13 * fri", "2026-03-01 00:00:00", "Fri 2026-03-06 00:00:00"},
        {"0 0 13 * fri", "2026-04-10 00:00:00", "Mon 2026-04-13 00:00:00"},
        {"0 0 */2 * mon", "2026-03-03 00:00:00", "Mon 2026-03-09 00:00:00"},
        // The next 29th of February that is a Sunday.
        {"0 0 29 2 */7", "2026-03-01 00:00:00", "Sun 2032-02-29 00:00:00"},
        {"0 0 30 2 *", "2026-03-01 00:00:00", "never"},
        {"0 0 31 4,6,9,11 *", "2026-03-01 00:00:00", "never"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(next(row.expression, moment(row.after)), row.expected)
            << row.expression << " after " << row.after;
    }
}

TEST(Cron, GoesOverAnHourThatIsSkipped) {
    const Zone zone("Europe/Zurich");
    const std::int64_t before = moment("2026-03-29 01:59:00");
    EXPECT_EQ(next("30 2 * * *", before), "Mon 2026-03-30 02:30:00");
    EXPECT_EQ(next("* * * * *", before), "Sun 2026-03-29 03:00:00");
    EXPECT_EQ(next("30 * * * *", before), "Sun 2026-03-29 03:30:00");
}

TEST(Cron, MeansAnHourOnceAlsoWhenItComesTwice) {
    const Zone zone("Europe/Zurich");
    // 02:30 of summer time; an hour later it is 02:30 again.
    const std::int64_t first = moment("2026-10-25 00:30:00") + 2 * 3600;
    EXPECT_EQ(shown(first), shown(first + 3600));
    const auto daily = read_cron("30 2 * * *");
    EXPECT_EQ(next_time(*daily, first - 60), first);
    EXPECT_EQ(shown(*next_time(*daily, first)), "Mon 2026-10-26 02:30:00");
    EXPECT_EQ(shown(*next_time(*daily, first + 3600)), "Mon 2026-10-26 02:30:00");
    const auto each_minute = read_cron("* * * * *");
    EXPECT_EQ(next_time(*each_minute, first + 29 * 60), first + 30 * 60);
    const auto each_hour = read_cron("30 * * * *");
    EXPECT_EQ(next_time(*each_hour, first), first + 3600);
    EXPECT_EQ(next_time(*each_hour, first + 3600), first + 2 * 3600);
}

TEST(Cron, GoesOnFromEachTimeItFinds) {
    for (const char* name : {"UTC", "Europe/Zurich", "America/New_York", "Australia/Lord_Howe",
                             "Asia/Kolkata", "America/Santiago"}) {
        const Zone zone(name);
        for (const char* expression : {"*/17 * * * *", "5 */3 * * *", "0 0 * * *", "59 23 * * sun"}) {
            const auto schedule = read_cron(expression);
            ASSERT_TRUE(schedule);
            std::int64_t time = moment("2026-01-01 00:00:00");
            const std::int64_t end = moment("2027-01-01 00:00:00");
            while (time < end) {
                const auto later = next_time(*schedule, time);
                ASSERT_TRUE(later) << name << " " << expression << " after " << shown(time);
                ASSERT_GT(*later, time) << name << " " << expression;
                ASSERT_EQ(next_time(*schedule, *later - 1), later) << name << " " << shown(*later);
                time = *later + 86'400;
            }
        }
    }
}

TEST(Cron, RefusesWhatIsNoExpression) {
    for (const std::string& text : {
             std::string(),
             std::string("*"),
             std::string("* * * *"),
             std::string("* * * * * *"),
             std::string("@daily"),
             std::string("60 * * * *"),
             std::string("* 24 * * *"),
             std::string("* * 0 * *"),
             std::string("* * 32 * *"),
             std::string("* * * 0 *"),
             std::string("* * * 13 *"),
             std::string("* * * * 8"),
             std::string("5-1 * * * *"),
             std::string("*/0 * * * *"),
             std::string("*/60 * * * *"),
             std::string("5/10 * * * *"),
             std::string("1,,2 * * * *"),
             std::string("1, * * * *"),
             std::string(",1 * * * *"),
             std::string("1- * * * *"),
             std::string("-1 * * * *"),
             std::string("+1 * * * *"),
             std::string("1-2-3 * * * *"),
             std::string("*/5/5 * * * *"),
             std::string("** * * * *"),
             std::string("mon * * * *"),
             std::string("* * * monday *"),
             std::string("* * * * janu"),
             std::string("* * * */feb *"),
             std::string("99999999999999999999 * * * *"),
             std::string("1.5 * * * *"),
             std::string("0x1 * * * *"),
             std::string("*\t* * * *"),
             std::string("* *  * * *"),
             std::string("* * * * * "),
             std::string(1'000'000, '*'),
             std::string(1'000'000, ','),
             std::string(1'000'000, ' '),
             std::string("\0 * * * *", 9),
         }) {
        EXPECT_FALSE(read_cron(text)) << text.substr(0, 60);
    }
}

TEST(Cron, KnowsTheSameTimesByOtherWords) {
    EXPECT_EQ(read_cron("0-59 0-23 1-31 1-12 0-6")->minutes, read_cron("* * * * *")->minutes);
    EXPECT_EQ(read_cron("* * * jan-mar *"), read_cron("* * * 1,2,3 *"));
    EXPECT_EQ(read_cron("* * * * sun"), read_cron("* * * * 7"));
    EXPECT_EQ(read_cron("* * * * 5-7"), read_cron("* * * * 0,5,6"));
}

TEST(Cron, HasNoNextTimeBeyondTheCalendar) {
    const auto schedule = read_cron("* * * * *");
    EXPECT_FALSE(next_time(*schedule, std::numeric_limits<std::int64_t>::max()));
    EXPECT_FALSE(next_time(*schedule, 4'000'000'000'000));
}

}  // namespace
}  // namespace callhome::service
