#include "messages/text.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "row_name.h"
namespace callhome::service {
namespace {

using namespace std::string_literals;

struct Cleaning {
    const char* what;
    std::string raw;
    std::string clean;
};

std::string name_of_row(const testing::TestParamInfo<Cleaning>& info) {
    return tests::row_name(info.param.what);
}

class CleanLine : public testing::TestWithParam<Cleaning> {};

TEST_P(CleanLine, IsOneLineOfValidTextWithoutControlCharacters) {
    EXPECT_EQ(clean_line(GetParam().raw), GetParam().clean) << GetParam().what;
}

INSTANTIATE_TEST_SUITE_P(Texts, CleanLine,
                         testing::Values(Cleaning{"plain", "switch 1", "switch 1"},
                                         Cleaning{"empty", "", ""}, Cleaning{"only blanks", " \t\r\n ", ""},
                                         Cleaning{"a header in the text", "Ada\r\nBcc: eve@example.com",
                                                  "Ada Bcc: eve@example.com"},
                                         Cleaning{"NUL", "a\0b"s, "a b"},
                                         Cleaning{"an escape sequence", "a\x1b[31mb", "a [31mb"},
                                         Cleaning{"a C1 control character",
                                                  "a\xC2\x9B"
                                                  "b",
                                                  "a b"},
                                         Cleaning{"DEL",
                                                  "a\x7F"
                                                  "b",
                                                  "a b"},
                                         Cleaning{"a byte that is not UTF-8",
                                                  "a\xFF"
                                                  "b",
                                                  "a\xEF\xBF\xBD"
                                                  "b"},
                                         Cleaning{"half a character", "a\xC3", "a\xEF\xBF\xBD"},
                                         Cleaning{"a surrogate", "\xED\xA0\x80",
                                                  "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                                         Cleaning{"a noncharacter", "\xEF\xBF\xBE", "\xEF\xBF\xBD"},
                                         Cleaning{"other scripts", "Zürich 東京", "Zürich 東京"}),
                         name_of_row);

TEST(CleanText, KeepsLinesAndTurnsCrLfIntoALineEnd) {
    EXPECT_EQ(clean_text("one\r\ntwo\nthree\rfour"), "one\ntwo\nthree four");
}

TEST(CleanText, IsValidForAnyBytes) {
    std::uint32_t state = 1;
    for (int round = 0; round < 200; ++round) {
        std::string bytes;
        for (int i = 0; i < 64; ++i) {
            state = state * 1'664'525U + 1'013'904'223U;
            bytes.push_back(static_cast<char>(state >> 24U));
        }
        const std::string text = clean_text(bytes);
        EXPECT_TRUE(g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr));
        EXPECT_EQ(text, clean_text(text));
    }
}

TEST(CleanText, MakesTheSameOfPlainTextWhateverStandsBehindIt) {
    const std::string behind = "\u00fc";
    for (int byte = 0; byte < 0x80; ++byte) {
        for (const char next : {'a', '\n', '\r'}) {
            const std::string text{'x', static_cast<char>(byte), next, 'y'};
            EXPECT_EQ(clean_text(text) + behind, clean_text(text + behind)) << byte;
        }
    }
}

TEST(CutTo, NeverSplitsACharacter) {
    const std::string text = "aü東😀";  // 1 + 2 + 3 + 4 bytes
    const std::size_t kept[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    for (std::size_t size = 0; size < std::size(kept); ++size) {
        EXPECT_EQ(cut_to(text, size), text.substr(0, kept[size])) << size;
    }
}

TEST(CutWithNote, SaysThatSomethingIsMissingWhereThereIsRoom) {
    EXPECT_EQ(cut_with_note("0123456789", 10), "0123456789");
    EXPECT_EQ(cut_with_note("0123456789", 9), "01\n[cut]\n");
    EXPECT_EQ(cut_with_note("0123456789", 3), "012");
    EXPECT_EQ(cut_with_note("0123456789", 0), "");
}

TEST(Wrap, BreaksBetweenWordsAndIndentsTheRest) {
    EXPECT_EQ(wrap("one two three four", 9, 0), "one two\nthree\nfour");
    EXPECT_EQ(wrap("one two three", 9, 2), "one two\n  three");
    EXPECT_EQ(wrap("averyveryverylongword x", 9, 0), "averyveryverylongword\nx");
    EXPECT_EQ(wrap("one\ntwo", 20, 2), "one\n  two");
    EXPECT_EQ(wrap("東京 東京", 4, 0), "東京\n東京");
}

TEST(IsoTime, HasTheOffsetOfTheZone) {
    const char* zone = std::getenv("TZ");
    const std::string before = zone == nullptr ? "" : zone;
    ::setenv("TZ", "XXX-05:30", 1);
    EXPECT_EQ(iso_time(0), "1970-01-01T05:30:00+05:30");
    zone == nullptr ? ::unsetenv("TZ") : ::setenv("TZ", before.c_str(), 1);
}

TEST(MailHostName, HoldsOnlyWhatADomainMayHold) {
    EXPECT_EQ(mail_host_name("switch-1.example.com"), "switch-1.example.com");
    EXPECT_EQ(mail_host_name("switch 1>\r\nRCPT"), "switch1RCPT");
    EXPECT_EQ(mail_host_name("-.switch.-"), "switch");
    EXPECT_EQ(mail_host_name("東京"), "localhost");
}

TEST(PlainAddress, IsOneThatNeedsNoQuotingAndEndsNoCommand) {
    for (const char* address : {"ada@example.com", "root", "a.b+c@[x", "a@b"}) {
        EXPECT_EQ(is_plain_address(address), std::string(address) != "a.b+c@[x") << address;
    }
    for (const char* address : {"", "@", "a@", "@b", "a b@c", "a@b>", "<a@b>", "a@b\r\nDATA", "a@b,c@d",
                                "a@b@c", "ü@example.com", "Ada <a@b>", "a@b\x7F"}) {
        EXPECT_FALSE(is_plain_address(address)) << address;
    }
    EXPECT_FALSE(is_plain_address("a\0@b"s));
    EXPECT_FALSE(is_plain_address("a@" + std::string(253, 'b')));
}

}  // namespace
}  // namespace callhome::service
