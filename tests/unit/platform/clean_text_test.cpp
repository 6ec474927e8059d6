#include "clean_text.h"

#include <gtest/gtest.h>

namespace callhome::platform {
namespace {

TEST(CleanTextTest, ControlCharactersBecomeVisible) {
    EXPECT_EQ(without_controls("plain text, \xC3\xA4\xE2\x82\xAC"), "plain text, \xC3\xA4\xE2\x82\xAC");
    EXPECT_EQ(without_controls("a\tb\n"), "a\tb\n");
    EXPECT_EQ(without_controls("\x1B[2J"), "\\x1b[2J");
    EXPECT_EQ(without_controls("\r\b\x7F"), "\\x0d\\x08\\x7f");
    EXPECT_EQ(without_controls("\xC2\x9B"
                               "2J"),
              "\\xc2\\x9b2J")
        << "the one-character form of ESC [";
    EXPECT_EQ(without_controls("\xC2\xA0"), "\xC2\xA0");
    EXPECT_EQ(without_controls("\xC2"), "\xC2");
}

struct Cleaning {
    const char* what;
    std::string text, cleaned;
};

const Cleaning cleanings[] = {
    {"ASCII", "plain\ttext\r\n", "plain\ttext\r\n"},
    {"every length of sequence", "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x93\x9E",
     "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x93\x9E"},
    {"the last code point", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
    {"a lone continuation", "a\x80z", "a\xEF\xBF\xBDz"},
    {"Latin-1", "M\xFCller", "M\xEF\xBF\xBDller"},
    {"a sequence cut short by a letter", "\xE2\x82z", "\xEF\xBF\xBDz"},
    {"a sequence cut short by another one", "\xE2\x82\xC3\xA4", "\xEF\xBF\xBD\xC3\xA4"},
    {"a sequence cut short by the end", "a\xF0\x9F\x93", "a\xEF\xBF\xBD"},
    {"an overlong form", "\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
    {"an overlong form of three bytes", "\xE0\x80\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    {"a surrogate", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    {"beyond Unicode", "\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    {"a byte that never occurs", "\xFF", "\xEF\xBF\xBD"},
    {"a null byte", std::string("a\0z", 3), std::string("a\0z", 3)},
};

TEST(CleanTextTest, WhatIsNotUtf8IsReplaced) {
    for (const Cleaning& row : cleanings) {
        EXPECT_EQ(valid_text(row.text), row.cleaned) << row.what;
    }
}

TEST(CleanTextTest, PiecesAreCleanedAsTheWhole) {
    for (const Cleaning& row : cleanings) {
        for (std::size_t first = 0; first <= row.text.size(); ++first) {
            for (std::size_t second = first; second <= row.text.size(); ++second) {
                TextCleaner cleaner(ControlCharacters::kept);
                std::string shown = cleaner.take(row.text.substr(0, first));
                shown += cleaner.take(row.text.substr(first, second - first));
                shown += cleaner.take(row.text.substr(second));
                EXPECT_EQ(shown + cleaner.finish(), row.cleaned)
                    << row.what << " cut at " << first << ", " << second;
            }
        }
    }
}

TEST(CleanTextTest, AControlCharacterOfTwoBytesIsSeenAcrossPieces) {
    TextCleaner cleaner(ControlCharacters::made_visible);
    EXPECT_EQ(cleaner.take("\xC2"), "");
    EXPECT_EQ(cleaner.take("\x9B"
                           "2J"),
              "\\xc2\\x9b2J");
}

}  // namespace
}  // namespace callhome::platform
