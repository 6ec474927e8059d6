#include "requests/checks.h"

#include <gtest/gtest.h>

#include <string>

namespace callhome::service {
namespace {

TEST(Checks, ALineHasNoControlCharactersAndIsUtf8) {
    for (const char* text : {"", "a b", "Straße 5", "\u65e5\u672c"}) {
        EXPECT_TRUE(is_line(text)) << text;
    }
    for (const char* text :
         {" a", "a ", " ", "a\nb", "a\rb", "\t", "\x7f", "\xc2\x85", "\u2028", "\u2029", "\xff", "\xc3"}) {
        EXPECT_FALSE(is_line(text)) << text;
    }
}

TEST(Checks, AWordHasNoBlanksEither) {
    EXPECT_TRUE(is_word("mx.example.net"));
    for (const char* text : {"", " ", "a b", "a\u00a0b", "a\u2003b", "a\nb"}) {
        EXPECT_FALSE(is_word(text)) << text;
    }
}

TEST(Checks, ANameShowsWhatItIs) {
    EXPECT_TRUE(is_name("ops-\u00fc"));
    EXPECT_FALSE(is_name("a\u202eb")) << "a direction override";
    EXPECT_FALSE(is_name("a\u200bb")) << "a blank of no width";
}

TEST(Checks, AnAddressHasTextOnBothSidesOfItsOneAtSign) {
    EXPECT_TRUE(is_email_address("a@b"));
    for (const char* text : {"", "@", "a@", "@b", "nobody", "a@b@c", "a b@c", "a@b\n", "a\x01@b", "<a@b>",
                             "\"a\"@b", "a@b,c"}) {
        EXPECT_FALSE(is_email_address(text)) << text;
    }
}

TEST(Checks, AUrlIsHttpOrHttpsWithAHost) {
    for (const char* text : {"http://h", "https://h.example:8443/path?q=1", "http://[2001:db8::1]/"}) {
        EXPECT_TRUE(is_url(text)) << text;
    }
    for (const char* text : {"", "http://", "https://", "https:///path", "ftp://h", "h.example",
                             "http://a b", "file:///etc/passwd", "http://a\n"}) {
        EXPECT_FALSE(is_url(text)) << text;
    }
}

TEST(Checks, AHostIsAnAddressOrAName) {
    const std::string longest_label(63, 'a');
    for (const std::string& text : {std::string("10.1.2.3"), std::string("2001:db8::1"), std::string("mx"),
                                    std::string("mx-1.example_net.org."), longest_label + ".b"}) {
        EXPECT_TRUE(is_host(text)) << text;
    }
    for (const std::string& text :
         {std::string(), std::string("."), std::string("a..b"), std::string("10.1.2.300"),
          std::string("-a"), std::string("a-.b"), std::string("a!"), std::string("[::1]"), std::string("ö"),
          longest_label + "a"}) {
        EXPECT_FALSE(is_host(text)) << text;
    }
}

TEST(Checks, AVrfNameCanBeTyped) {
    EXPECT_TRUE(is_vrf_name(std::string(31, 'v')));
    EXPECT_FALSE(is_vrf_name(std::string(32, 'v')));
    EXPECT_FALSE(is_vrf_name("a b"));
    EXPECT_FALSE(is_vrf_name(""));
}

TEST(Checks, ATextThatFitsIsNotCut) {
    EXPECT_EQ(cut_text("one\ntwo", 7), "one\ntwo");
}

TEST(Checks, ATextIsCutBehindItsLastWholeLine) {
    EXPECT_EQ(cut_text("one\ntwo\nthree", 9), "one\ntwo\n");
}

TEST(Checks, ALongLineIsCutBetweenCharacters) {
    EXPECT_EQ(cut_text("ab\u00fcd", 3), "ab");
    EXPECT_EQ(cut_text("ab\u00fcd", 4), "ab\u00fc");
    EXPECT_EQ(cut_text("\u65e5\u672c", 5), "\u65e5");
    EXPECT_EQ(cut_text("\u65e5", 2), "");
}

}  // namespace
}  // namespace callhome::service
