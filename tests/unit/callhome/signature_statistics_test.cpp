#include "command.h"
#include "protocol/records/signature.h"
#include "signature_replies.h"

namespace callhome::test {
namespace {

using protocol::DsShowRequest;

constexpr std::uint32_t failure = 137;
constexpr std::uint32_t run_time = 138;
constexpr std::uint32_t download = 139;

// One table: how it is asked for, and what is printed of a row.
struct Table {
    std::uint32_t keyword;
    std::uint32_t view;
    const std::string& heading;
    const std::string& row;
    Lines before;     // printed before the heading
    Lines headings;   // as they are printed
    Lines shown_row;  // the columns of `row`
    std::size_t last_column;
    std::size_t longest_last;  // characters of the last column that are shown
};

const Table failures{
    failure,
    9,
    failure_heading,
    failure_row,
    {},
    {"Stage: D - Download, P - Parsing, F - File access\n", "       R - Registration, S - Sign check\n",
     "                                Last Failed Time\n",
     "DS ID    DS Name          Stage (UTC)               Reason\n",
     "-------- ---------------- ----- ------------------- ------\n"},
    {"%-8s |30740073=8001", "%-16s |30740074=link-flapping", "%-5s |30740075=D",
     "%-19s |30740076=2026-11-21 16:00:12", "%s\n|30740077=no answer "},
    52,
    199};
const Table run_times{
    run_time,
    10,
    run_time_heading,
    run_time_row,
    {},
    {"                                                          Average Run  Max Run\n",
     "DS ID     DS Name                          Max/Deinstall  Time(sec)    Time(sec)\n",
     "--------  -------------------------------  -------------  -----------  ---------\n"},
    {"%-8s  |30740069=8001", "%-31s  |3074006A=link-flapping", "%-13s  |3074006B=5/yes",
     "%-11s  |3074006C=0.25", "%-9s\n|3074006D=1.50"},
    71,
    63};
const Table downloads{download,
                      11,
                      download_heading,
                      download_row,
                      {"\n"},
                      {"Download-type    In-queue      Fail    Success   Last request sent\n",
                       "-------------   ----------    -----   -------   -----------------\n"},
                      {"%-16s    |3074006E=one signature", "%-5s      |3074006F=2", "%-8s |30740070=3",
                       "%-8s |30740071=40", "%s\n|30740072=2026-11-21 16:00:12"},
                      49,
                      63};

const std::vector<Table> tables{failures, run_times, downloads};

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

class SignatureStatisticsTest : public LibraryTest {
 protected:
    // What is printed for a reply.
    static Lines lines_of(const Table& table, Answer reply) {
        platform().printed.clear();
        platform().tuples.clear();
        platform().sends = 0;
        service_says(std::move(reply));
        Command command;
        const auto [result, out, err] =
            run(ch_show_gch_ds_failure_stats_dnld, command.keyword(table.keyword));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "") << "all output goes through the handle";
        EXPECT_EQ(platform().sends, 1);
        return platform().printed;
    }
    // What is printed of the rows that follow the heading.
    static Lines rows_of(const Table& table, const std::string& rows) {
        const Lines printed = lines_of(table, text_answer(table.heading + rows));
        const auto headings = static_cast<std::ptrdiff_t>(table.before.size() + table.headings.size());
        return {printed.begin() + headings, printed.end()};
    }
    static std::size_t count_rows(const Table& table, const std::string& rows) {
        return rows_of(table, rows).size() / table.shown_row.size();
    }
    // Of each row that is printed, the last column.
    static Lines last_columns(const Table& table, const std::string& rows) {
        const std::string& shown = table.shown_row.back();
        const std::string begin = shown.substr(0, shown.find('=') + 1);
        Lines columns;
        for (const std::string& line : rows_of(table, rows)) {
            if (line.substr(0, begin.size()) == begin) {
                columns.push_back(line.substr(begin.size()));
            }
        }
        return columns;
    }
};

TEST_F(SignatureStatisticsTest, ShowsHeadingAndRows) {
    for (const Table& table : tables) {
        EXPECT_EQ(lines_of(table, text_answer("\nnoise\n" + table.heading + table.row + table.row)),
                  table.before + table.headings + table.shown_row + table.shown_row)
            << table.keyword;
    }
}

TEST_F(SignatureStatisticsTest, EachKeywordAsksForItsView) {
    for (const Table& table : tables) {
        platform() = Platform{};
        lines_of(table, text_answer(""));
        ASSERT_EQ(asked(), Asked{"312325/1"});
        EXPECT_EQ(platform().exchanges[0].length, 8U);
        EXPECT_EQ(platform().exchanges[0].cmd_type, 1U);
        EXPECT_TRUE(platform().exchanges[0].sent ==
                    in_transport_order(DsShowRequest{.view = table.view, .ds_id = 0}));
    }
}

TEST_F(SignatureStatisticsTest, WithoutAKeywordItIsTheRunTimes) {
    service_says(text_answer(run_time_heading + run_time_row));
    Command command;
    EXPECT_EQ(run(ch_show_gch_ds_failure_stats_dnld, command.null_token()).result, 0);
    EXPECT_EQ(platform().printed, run_times.headings + run_times.shown_row);
    EXPECT_EQ(platform().exchanges.at(0).record<DsShowRequest>().view, 10U);
}

TEST_F(SignatureStatisticsTest, TheLastKeywordDecides) {
    service_says(text_answer(failure_heading + failure_row));
    Command command;
    run(ch_show_gch_ds_failure_stats_dnld, command.keyword(download).keyword(run_time).keyword(failure));
    EXPECT_EQ(platform().printed, failures.headings + failures.shown_row);
}

TEST_F(SignatureStatisticsTest, AnyOtherKeywordIsRefused) {
    for (const std::uint32_t other : {0U, 130U, 136U, 140U, 0xFFFFFFFFU}) {
        for (const bool is_last : {false, true}) {
            Command command;
            command.keyword(is_last ? run_time : other).keyword(is_last ? other : run_time);
            const auto [result, out, err] = run(ch_show_gch_ds_failure_stats_dnld, command);
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "");
            EXPECT_EQ(err, "This command is not supported.\n");
        }
    }
    EXPECT_EQ(asked(), Asked{});
    EXPECT_EQ(platform().sends, 0);
}

TEST_F(SignatureStatisticsTest, ATableWithoutRowsIsItsHeading) {
    for (const Table& table : tables) {
        EXPECT_EQ(lines_of(table, text_answer(table.heading)), table.before + table.headings);
        EXPECT_EQ(lines_of(table, text_answer("")), table.before + Lines(table.headings.size()))
            << "a missing line prints nothing";
        EXPECT_EQ(lines_of(table, characters("")), table.before + Lines(table.headings.size()));
    }
}

TEST_F(SignatureStatisticsTest, AMissingHeadingDoesNotHideTheRows) {
    for (const Table& table : tables) {
        const Lines printed = lines_of(table, text_answer(table.row));
        EXPECT_EQ(printed, table.before + Lines(table.headings.size()) + table.shown_row);
    }
}

TEST_F(SignatureStatisticsTest, ALastRowWithoutALineFeedIsNotShown) {
    for (const Table& table : tables) {
        const std::string unfinished = table.row.substr(0, table.row.size() - 1);
        EXPECT_EQ(count_rows(table, table.row + unfinished), 1U);
        EXPECT_EQ(count_rows(table, unfinished), 0U);
    }
}

TEST_F(SignatureStatisticsTest, ARowThatEndsBeforeItsLastColumnEndsTheTable) {
    for (const Table& table : tables) {
        for (std::size_t length = 0; length < table.last_column + 2; ++length) {
            const std::string line = std::string(length, 'x') + "\n";
            ASSERT_EQ(count_rows(table, table.row + line + table.row), length < table.last_column ? 1U : 3U)
                << length;
            ASSERT_EQ(count_rows(table, table.row + line), length < table.last_column ? 1U : 2U) << length;
        }
    }
}

TEST_F(SignatureStatisticsTest, ABlankRowIsARowOfEmptyColumns) {
    for (const Table& table : tables) {
        const std::string blank = std::string(table.last_column, ' ') + "\n";
        Lines shown = table.shown_row;
        for (std::string& column : shown) {
            column.resize(column.find('=') + 1);
        }
        EXPECT_EQ(rows_of(table, blank), shown);
    }
}

TEST_F(SignatureStatisticsTest, OnlyTheReasonOfAFailureKeepsItsBlanks) {
    for (const Table& table : tables) {
        const std::string line = std::string(table.last_column, ' ') + " two  words \n";
        EXPECT_EQ(last_columns(table, line),
                  Lines{table.keyword == failure ? " two  words " : "two  words"});
    }
}

TEST_F(SignatureStatisticsTest, TheLastColumnIsCutAtItsField) {
    for (const Table& table : tables) {
        for (const std::size_t length : {62U, 63U, 64U, 199U, 200U, 5000U}) {
            const std::string line = std::string(table.last_column, '-') + std::string(length, 'x') + "\n";
            EXPECT_EQ(last_columns(table, line),
                      Lines{std::string(std::min<std::size_t>(length, table.longest_last), 'x')});
        }
    }
}

// The characters at which each column begins and ends, found by a mark that moves along the row.
TEST_F(SignatureStatisticsTest, EveryCharacterBelongsToItsColumnOrNone) {
    const std::vector<std::vector<std::pair<std::size_t, std::size_t>>> columns{
        {{0, 8}, {9, 25}, {26, 31}, {32, 51}, {52, 60}},
        {{0, 8}, {10, 41}, {43, 56}, {58, 69}, {71, 80}},
        {{0, 16}, {20, 25}, {31, 39}, {40, 48}, {49, 60}},
    };
    for (std::size_t table = 0; table < tables.size(); ++table) {
        const std::size_t length = columns[table].back().second;
        for (std::size_t mark = 0; mark < length; ++mark) {
            std::string line(length, ' ');
            line[mark] = 'x';
            const Lines shown = rows_of(tables[table], line + "\n");
            ASSERT_EQ(shown.size(), columns[table].size());
            for (std::size_t column = 0; column < shown.size(); ++column) {
                const auto [begin, end] = columns[table][column];
                ASSERT_EQ(shown[column].find('x') != std::string::npos, begin <= mark && mark < end)
                    << "view " << tables[table].view << " character " << mark << " column " << column;
            }
        }
    }
}

TEST_F(SignatureStatisticsTest, IsTheSameWithoutATerminator) {
    for (const Table& table : tables) {
        const std::string reply = table.heading + table.row;
        EXPECT_EQ(lines_of(table, characters(reply)), lines_of(table, text_answer(reply)));
    }
}

TEST_F(SignatureStatisticsTest, ShowsTheRowsThatCameWhole) {
    for (const Table& table : tables) {
        const std::string rows = table.row + table.row;
        for (std::size_t length = 0; length < rows.size(); ++length) {
            ASSERT_EQ(count_rows(table, rows.substr(0, length)), length < table.row.size() ? 0U : 1U);
        }
    }
}

TEST_F(SignatureStatisticsTest, ALineOfBlanksAndTextIsAFailureOfItsOwn) {
    const Lines continued{"%-8s |30740073=", "%-16s |30740074=", "%-5s |30740075=", "%-19s |30740076=",
                          "%s\n|30740077=continued"};
    EXPECT_EQ(rows_of(failures, failure_row + std::string(51, ' ') + "#continued\n"),
              failures.shown_row + continued);
}

// The reasons that a table of failures shows, the way the service means it: a line may continue the one
// before when nothing but blanks leads up to its text. The blanks are counted in all that is left of the
// reply.
Lines reasons(const std::string& text) {
    constexpr std::size_t blanks = 51;
    constexpr std::size_t reason_column = 52;
    Lines reasons;
    for (std::size_t row = 0; row < text.size();) {
        std::size_t end = text.find('\n', row);
        if (end == std::string::npos || end - row < reason_column) {
            break;
        }
        std::string reason = text.substr(row + reason_column, end - row - reason_column);
        row = end + 1;
        while (row < text.size() && text[row] == ' ') {
            const std::size_t left = text.size() - row;
            std::size_t k = 1;
            while (k <= blanks && k < left && text[row + k] == ' ') {
                ++k;
            }
            const bool met_text = k <= blanks && k < left;
            if (met_text || k != blanks) {
                break;
            }
            end = text.find('\n', row + blanks);
            if (end == std::string::npos) {
                row += blanks;
                break;
            }
            reason += text.substr(row - 1, end - row + 1);
            row = end + 1;
        }
        reasons.push_back(reason);
    }
    return reasons;
}

TEST_F(SignatureStatisticsTest, LinesThatBeginWithBlanksAreReadAsTheServiceMeansThem) {
    Lines lines{""};
    for (const std::size_t blanks : {0U, 1U, 50U, 51U, 52U, 53U}) {
        for (const char* text : {"", "x", "\n", "x\n"}) {
            lines.push_back(std::string(blanks, ' ') + text);
        }
    }
    for (const std::string& first : lines) {
        for (const std::string& second : lines) {
            const std::string rows = failure_row + first + second;
            ASSERT_EQ(last_columns(failures, rows), reasons(rows)) << rows;
        }
    }
}

// Would never end if each row looked at all that is left.
TEST_F(SignatureStatisticsTest, ReadsManyRows) {
    constexpr std::size_t many = 100'000;
    for (const Table& table : tables) {
        const std::string blank_row = std::string(table.last_column, ' ') + "x\n";
        std::string rows;
        for (std::size_t index = 0; index < many; index += 2) {
            rows += table.row + blank_row;
        }
        EXPECT_EQ(count_rows(table, rows), many);
    }
}

TEST_F(SignatureStatisticsTest, ReadsALongReplyWithoutALineFeed) {
    constexpr std::size_t ten_megabytes = 10'000'000;
    for (const Table& table : tables) {
        EXPECT_EQ(count_rows(table, table.row + std::string(ten_megabytes, ' ')), 1U);
        EXPECT_EQ(lines_of(table, characters(std::string(ten_megabytes, '-'))),
                  table.before + Lines(table.headings.size()));
    }
}

}  // namespace
}  // namespace callhome::test
