// Files that are made to harm: each is refused, soon, and nothing outside of it is touched.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>

#include "sample.h"
#include "signatures/signature_file.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

using namespace std::string_literals;
using protocol::ResultCode;
using tests::SampleFile;

Refusal refusal_of(const std::string& xml) {
    auto read = read_signature(xml);
    auto* refusal = std::get_if<Refusal>(&read);
    return refusal == nullptr ? Refusal{} : std::move(*refusal);
}

std::chrono::milliseconds processor_time() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return std::chrono::seconds(usage.ru_utime.tv_sec) +
           std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::microseconds(usage.ru_utime.tv_usec));
}

std::string times(std::size_t count, const std::string& text) {
    std::string all;
    all.reserve(count * text.size());
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::string filled_to(std::size_t size, std::string xml) {
    xml.append(size - xml.size(), ' ');
    return xml;
}

std::string with_type(const std::string& subset) {
    return SampleFile()
        .with_prolog("<!DOCTYPE diagnosticSignature " + subset + ">")
        .with("author", "<author>&a;</author>")
        .text();
}

// Each entity is ten times the one before.
std::string entity_bomb() {
    std::string subset = "[<!ENTITY l0 'lol'>";
    for (int i = 1; i < 12; ++i) {
        const std::string before = "&l" + std::to_string(i - 1) + ";";
        subset += "<!ENTITY l" + std::to_string(i) + " '" + times(10, before) + "'>";
    }
    return with_type(subset + "<!ENTITY a '&l11;'>]");
}

struct HostileCase {
    const char* what;
    std::string xml;
    ResultCode code;
    const char* why;  // a piece of it
};

std::vector<HostileCase> documents() {
    constexpr auto unreadable = ResultCode::xml_unreadable;
    return {
        {"an entity bomb", entity_bomb(), unreadable, "document type"},
        {"an external entity", with_type("[<!ENTITY a SYSTEM 'file:///etc/passwd'>]"), unreadable,
         "document type"},
        {"a parameter entity", with_type("[<!ENTITY % a SYSTEM 'http://192.0.2.1/a.dtd'> %a;]"), unreadable,
         "document type"},
        {"an external type", with_type("SYSTEM 'http://192.0.2.1/a.dtd'"), unreadable, "document type"},
        {"a type alone", with_type(""), unreadable, "document type"},
        {"a type that stays open", "<!DOCTYPE a [", unreadable, "document type"},
        {"as many levels as a file can have", times(200'000, "<a>"), unreadable, "deeper than 64"},
        {"a NUL", SampleFile().with("author", "<author>A\0B</author>"s).text(), unreadable, "UTF-8"},
        {"no UTF-8", SampleFile().with("author", "<author>\xFF\xFE</author>").text(), unreadable, "UTF-8"},
        {"a surrogate", SampleFile().with("author", "<author>\xED\xA0\x80</author>").text(), unreadable,
         "UTF-8"},
        {"another encoding", "\xFF\xFE<\0a\0/\0>\0"s, unreadable, "UTF-8"},
        {"a lone ampersand", SampleFile().with("author", "<author>A & B</author>").text(), unreadable,
         "line 3"},
    };
}

std::vector<HostileCase> long_ones() {
    constexpr auto too_long = ResultCode::over_length;
    std::string attributes = "<a";
    for (int i = 0; i < 90'000; ++i) {
        attributes += " a" + std::to_string(i) + " = ''";
    }
    attributes.resize(1'000'000);
    return {
        {"a byte too many", filled_to(longest_signature_file + 1, SampleFile().text()), too_long,
         "longer than 1048576 bytes"},
        {"a million levels", times(1'000'000, "<a>"), too_long, "longer than 1048576 bytes"},
        {"very many elements", SampleFile().with("x", times(100'000, "<a/>")).text(), too_long,
         "more than 512 elements"},
        {"very many attributes", attributes, too_long, "more than 256 attributes"},
        {"very many namespaces", "<a" + times(40'000, " xmlns:abcd=\"urn:x\""), too_long, "attributes"},
        {"a long name of an attribute", "<a " + std::string(500'000, 'n') + "=''/>",
         ResultCode::xml_unreadable, "line 1"},
        {"a long name", "<" + std::string(500'000, 'n') + "/>", ResultCode::xml_unreadable, "line 1"},
        {"a long name of an element", "<" + std::string(40'000, 'n') + "/>", ResultCode::tag_unsupported,
         "line 1"},
        {"a long text",
         SampleFile().with("author", "<author>" + std::string(900'000, 'a') + "</author>").text(), too_long,
         "author is longer"},
        {"a long text of references",
         SampleFile().with("author", "<author>" + times(150'000, "&#65;") + "</author>").text(), too_long,
         "author is longer"},
        {"a text of many pieces",
         SampleFile().with("author", "<author>" + times(60'000, "<![CDATA[a]]>") + "</author>").text(),
         too_long, "author is longer"},
    };
}

void check(const std::vector<HostileCase>& cases) {
    for (const HostileCase& row : cases) {
        const auto before = processor_time();
        const Refusal refusal = refusal_of(row.xml);
        EXPECT_EQ(refusal.code, row.code) << row.what << ": " << refusal.why.substr(0, 200);
        EXPECT_NE(refusal.why.find(row.why), std::string::npos)
            << row.what << ": " << refusal.why.substr(0, 200);
        EXPECT_LT(refusal.why.size(), 400U) << row.what;
        EXPECT_LT(processor_time() - before, std::chrono::seconds(3)) << row.what;
    }
}

TEST(HostileSignature, ThatIsNoPlainDocumentIsRefused) {
    check(documents());
}

TEST(HostileSignature, ThatIsTooLongIsRefusedSoon) {
    check(long_ones());
}

TEST(HostileSignature, OfTheLongestSizeIsReadAsAnyOther) {
    const std::string text = filled_to(longest_signature_file, SampleFile().text());
    EXPECT_EQ(refusal_of(text).why, "");
}

// In another encoding, other bytes would be marks of XML than those that were looked at.
TEST(HostileSignature, IsUtf8WhateverItSays) {
    for (const char* name : {"UTF-7", "UTF-16", "ISO-8859-1", "EBCDIC-US", "nonsense"}) {
        const std::string prolog = std::string("<?xml version='1.0' encoding='") + name + "'?>";
        const auto read = read_signature(
            SampleFile().with_prolog(prolog).with("author", "<author>+ADw-Zürich</author>").text());
        ASSERT_TRUE(std::holds_alternative<Signature>(read)) << name << std::get<Refusal>(read).why;
        EXPECT_EQ(std::get<Signature>(read).author, "+ADw-Zürich") << name;
    }
}

TEST(HostileSignature, OpensNoOtherFile) {
    const TemporaryFolder folder;
    folder.write("secret", "the content of a file");
    for (const char* kind : {"<!ENTITY a SYSTEM '", "<!ENTITY % a SYSTEM '"}) {
        const Refusal refusal = refusal_of(with_type("[" + (kind + (folder / "secret").string()) + "'>]"));
        EXPECT_EQ(refusal.code, ResultCode::xml_unreadable);
        EXPECT_EQ(refusal.why.find("content of a file"), std::string::npos);
    }
    const std::string including = "<include xmlns='http://www.w3.org/2001/XInclude' href='" +
                                  (folder / "secret").string() + "' parse='text'/>";
    EXPECT_EQ(refusal_of(SampleFile().with("author", "<author>" + including + "</author>").text()).code,
              ResultCode::tag_unsupported);
}

// A matcher that tries one way after the other would need longer than the world stands.
TEST(HostileSignature, HasNoPatternThatTakesLong) {
    const auto with_pattern = [](const std::string& pattern, const std::string& value) {
        return refusal_of(SampleFile()
                              .with("variables", "<variables><variable name='ds_a'><default>" + value +
                                                     "</default><pattern>" + pattern +
                                                     "</pattern></variable></variables>")
                              .text())
            .code;
    };
    const auto before = processor_time();
    EXPECT_EQ(with_pattern("(a+)+b", std::string(127, 'a')), ResultCode::prompt_value_invalid);
    EXPECT_EQ(with_pattern("(a|aa)+b", std::string(127, 'a')), ResultCode::prompt_value_invalid);
    EXPECT_EQ(with_pattern("(a?){60}a{60}", std::string(60, 'a')), ResultCode::ok);
    EXPECT_EQ(with_pattern("((((a{100}){100}){100}){100})", "a"), ResultCode::pattern_invalid);
    EXPECT_EQ(with_pattern("\\pL{900}{900}", "a"), ResultCode::pattern_invalid);
    EXPECT_EQ(with_pattern(std::string(512, '(') + std::string(512, ')'), "a"),
              ResultCode::prompt_value_invalid);
    EXPECT_EQ(with_pattern(times(340, "(a*"), "a"), ResultCode::pattern_invalid);
    EXPECT_LT(processor_time() - before, std::chrono::seconds(3));
}

}  // namespace
}  // namespace callhome::service
