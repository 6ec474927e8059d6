// What `?` and Tab answer.
#include "help.h"

#include <gtest/gtest.h>

#include "real_grammar.h"

namespace callhome::shell {
namespace {

std::string help_at(std::string_view mode, std::string_view text) {
    return help_text(expectation_at(grammar(), mode_named(mode), text));
}

// "exit|quit" for what may stand there, "..." after it when the command may end.
std::string expected_at(std::string_view mode, std::string_view text) {
    const Expectation expectation = expectation_at(grammar(), mode_named(mode), text);
    std::string words;
    for (const Candidate& candidate : expectation.candidates) {
        words += (words.empty() ? "" : "|") + candidate.shown;
    }
    return (expectation.understood ? "" : "? ") + words + (expectation.may_end ? " <cr>" : "");
}

struct Place {
    const char* mode;
    const char* text;
    const char* expected;
};

void PrintTo(const Place& place, std::ostream* out) {
    *out << place.mode << ": " << place.text;
}

class HelpAt : public testing::TestWithParam<Place> {};

TEST_P(HelpAt, ListsWhatMayStandThere) {
    EXPECT_EQ(expected_at(GetParam().mode, GetParam().text), GetParam().expected);
}

constexpr Place places[] = {
    {"exec", "", "configure|callhome|show|clear|exit|quit|end|help"},
    {"exec", "c", "configure|callhome|clear"},
    {"exec", "callhome ", "test|send|event|diagnostic-signature|resend|preview"},
    {"exec", "callhome test ", "inventory|sup-failure <cr>"},
    {"exec", "callhome test i", "inventory"},
    {"exec", "ca te ", "inventory|sup-failure <cr>"},
    {"exec", "wrod ", "? "},
    {"exec", "callhome send sw-crash process ", "NAME"},
    {"exec", "callhome send sw-crash process p ", "reason <cr>"},
    {"exec", "callhome send sw-crash process p reason why not", "REASON <cr>"},
    {"configuration", "", "no|do|callhome|snmp-server|exit|quit|end|help"},
    {"configuration", "callhome ", "test|send|event|diagnostic-signature|resend|preview <cr>"},
    {"configuration", "no ", "callhome|snmp-server"},
    {"configuration", "do show ",
     "callhome|diagnostic-signature|running-config|history|version|tech-support|trace|system|hostname|"
     "module|"
     "snmp"},
    {"configuration", "sh", "show"},
    {"configuration", "n", "no"},
    {"call-home", "switch-priority ", "<0-7>"},
    {"call-home", "no switch-priority ", "<0-7> <cr>"},
    {"call-home", "destination-profile s", "short-txt-destination|short_txt|PROFILE-NAME"},
    {"call-home", "destination-profile noc message-", "message-size|message-level"},
    {"call-home", "destination-profile noc message-level ", "<0-9>"},
    {"call-home", "destination-profile noc format ", "XML|full-txt|short-txt"},
    {"call-home", "transport email smtp-server mx ", "port|use-vrf <cr>"},
    {"call-home", "transport email mail-server mx port 25 ", "priority|use-vrf <cr>"},
    {"exec", "show version | ", "include|exclude|begin|count|no-more|json|xml"},
    {"exec", "show version |", "include|exclude|begin|count|no-more|json|xml"},
    {"exec", "show version | json | ", "include|exclude|begin|count|no-more"},
    {"exec", "show version | j", "json"},
    {"exec", "show version | json ", " <cr>"},
    {"exec", "callhome test | ", "include|exclude|begin|count|no-more"},
    {"exec", "show version | co", "count"},
    {"exec", "show version | include ", "PATTERN"},
    {"exec", "show version | include a", "PATTERN <cr>"},
    {"exec", "show version | x y", "? "},
    {"signature", "en | include ", "PATTERN"},      // end, and enable in the mode above
    {"configuration", "s c q | x y", "TEXT <cr>"},  // a contact, not the queue and a wrong filter
};
INSTANTIATE_TEST_SUITE_P(Help, HelpAt, testing::ValuesIn(places));

TEST(Help, ExplainsWordsAndParametersInColumns) {
    EXPECT_EQ(help_at("call-home", "transport email mail-server mx "),
              "  port          TCP port of the server\n"
              "  priority      The server's place in line\n"
              "  use-vrf       VRF through which the server is reached\n"
              "  <cr>\n");
    EXPECT_EQ(help_at("call-home", "transport email mail-server mx port "),
              "  <1-65535>     TCP port; 25 is the standard one\n");
}

TEST(Help, SaysWhenTheWordsBeforeAreWrong) {
    EXPECT_EQ(help_at("exec", "wrod "), "% Unrecognized command\n");
}

TEST(Help, SaysWhenNoWordBeginsSo) {
    EXPECT_EQ(help_at("exec", "zz"), "% There is no such word here\n");
}

struct InsideValue {
    const char* text;
    bool is_inside;
};

class QuestionMark : public testing::TestWithParam<InsideValue> {};

TEST_P(QuestionMark, BelongsToAValueOnlyDirectlyAfterOne) {
    EXPECT_EQ(expectation_at(grammar(), mode_named("call-home"), GetParam().text).is_inside_value,
              GetParam().is_inside);
}

constexpr InsideValue insides[] = {
    {"site-id what", true},
    {"site-id what ", true},
    {"site-id what now ", true},
    {"site-id ", false},
    {"site-id", false},
    {"destination-profile noc http http://example.org/in", true},
    {"destination-profile f", false},  // may be a keyword
    {"destination-profile noc", true},
    {"show version | include ab", true},
    {"show version | include a|co", true},
    {"show version | include \"a | co\"", true},
    {"show version | include a | co", false},
    {"enable", false},
};
INSTANTIATE_TEST_SUITE_P(Help, QuestionMark, testing::ValuesIn(insides));

struct Completed {
    const char* mode;
    const char* text;
    const char* insert;
    std::vector<std::string> choices;
};

void PrintTo(const Completed& completed, std::ostream* out) {
    *out << completed.mode << ": " << completed.text;
}

class CompletionAt : public testing::TestWithParam<Completed> {};

TEST_P(CompletionAt, InsertsWhatIsCommonAndOffersTheRest) {
    const auto& [mode, text, insert, choices] = GetParam();
    const Completion completion = complete(grammar(), mode_named(mode), text);
    EXPECT_EQ(completion.insert, insert);
    EXPECT_EQ(completion.choices, choices);
}

const Completed completions[] = {
    {"exec", "sh", "ow ", {}},
    {"exec", "show ver", "sion ", {}},
    {"exec", "show callhome mess", "age", {"message", "messages"}},
    {"exec", "show callhome message", "", {"message", "messages"}},
    {"call-home", "destination-profile fu", "ll", {"full-txt-destination", "full_txt"}},
    {"call-home",
     "transport email ",
     "",
     {"from", "mail-server", "reply-to", "return-receipt", "smtp-server"}},
    {"call-home", "site-id x", "", {}},
    {"exec", "wrod x", "", {}},
    {"exec", "show version | c", "ount ", {}},
    {"exec", "show version | include a | c", "ount ", {}},
    {"exec", "show version | include a|c", "", {}},    // within the pattern
    {"exec", "show version | include ( | c", "", {}},  // after a wrong one
    {"configuration", "no ca", "llhome ", {}},
};
INSTANTIATE_TEST_SUITE_P(Help, CompletionAt, testing::ValuesIn(completions));

}  // namespace
}  // namespace callhome::shell
