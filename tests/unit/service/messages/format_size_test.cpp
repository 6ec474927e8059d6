// Messages of any size: they keep to it, stay valid, and say that they were cut exactly when they were.
#include <glib.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <array>
#include <string_view>

#include "../signatures/schema_check.h"
#include "messages/text.h"
#include "messages/text_format.h"
#include "messages/xml_format.h"
#include "privacy/mask.h"
#include "samples.h"

namespace callhome::service {
namespace {

constexpr std::size_t huge = 50'000'000;
constexpr std::size_t shortest_note = 5;         // "[cut]"
constexpr std::size_t smallest_document = 1100;  // the header, with the stamp below, and the uptime

const MessageStamp stamp{"1700000000.0123456789abcdef@switch1", 1'700'000'000};

// What is hard to cut: several bytes to a character, markup, masks, long lines, line ends.
const std::array<std::string, 12> parts{"東京",    "ü",  "😀",          "<masked-12>",
                                        "&<>\"'",  "\n", "word word ", "    ",
                                        "]]>[cut", "x",  "%s\\",       "<masked-"};

rc::Gen<std::string> text_of_parts(int most) {
    return rc::gen::map(
        rc::gen::resize(most, rc::gen::container<std::vector<std::string>>(rc::gen::elementOf(parts))),
        [](const std::vector<std::string>& chosen) {
            std::string text;
            for (const std::string& part : chosen) {
                text += part;
            }
            return text;
        });
}

MessageContent content_with(const std::string& line, const std::string& text,
                            const std::vector<CommandOutput>& outputs) {
    const SignatureReport report{17, "name", "1", line, line, text, "all", "", outputs};
    const MessageType& type = *find_message_type(signature_message, Origin::signature);
    Configuration configuration = tests::sample_configuration();
    configuration.contact["sysContact"] = line;
    return compose_content({&type, {}, {}, "ada", &report}, stamp, "ops", configuration,
                           tests::sample_inventory());
}

rc::Gen<MessageContent> random_content() {
    return rc::gen::exec([] {
        std::vector<CommandOutput> outputs;
        const int count = *rc::gen::inRange(0, 4);
        for (int i = 0; i < count; ++i) {
            outputs.push_back({"show x", *text_of_parts(i == 0 ? 2000 : 100), ""});
        }
        return content_with(*text_of_parts(40), *text_of_parts(200), outputs);
    });
}

bool is_utf8(const std::string& text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != 0;
}

// Each mask of the whole is in the cut text as a whole, or not at all.
bool has_whole_masks(const std::string& text, const std::string& whole) {
    const std::size_t begin = text.rfind('<');
    return begin == std::string::npos || mask_at_beginning(whole.substr(begin)) == 0 ||
           mask_at_beginning(text.substr(begin)) != 0;
}

// What is wrong with the text that was made of `whole`; nothing where all is well.
std::string fault_of_text(const std::string& text, const std::string& whole, std::size_t size) {
    constexpr std::string_view note = "\n[cut]\n";
    constexpr std::string_view short_note = "[cut]";
    if (text.size() > size || !is_utf8(text)) {
        return "too long or not UTF-8";
    }
    if (whole.size() <= size || size < shortest_note) {
        return text == whole.substr(0, text.size()) && (text == whole || whole.size() > size)
                   ? ""
                   : "not as it was";
    }
    if (!text.ends_with(note) && !text.ends_with(short_note)) {
        return "does not say that it was cut";
    }
    const std::string kept =
        text.substr(0, text.size() - (text.ends_with(note) ? note : short_note).size());
    return whole.starts_with(kept) && has_whole_masks(kept, whole) ? ""
                                                                   : "not a beginning with whole masks";
}

std::string fault_of_document(const std::string& document, bool is_cut, std::size_t size) {
    if ((document.size() > size && size >= smallest_document) || !is_utf8(document)) {
        return "too long or not UTF-8";
    }
    const std::string root = "<callHomeMessage xmlns=\"urn:callhome:message:1\" truncated=\"true\">";
    if ((document.find(root) != std::string::npos) != is_cut) {
        return "says wrongly whether it was cut";
    }
    return tests::why_invalid(MESSAGE_SCHEMA, document);
}

std::string fault_at(const MessageContent& content, std::size_t size) {
    std::string faults;
    for (const auto format : {format_full_text, format_short_text}) {
        faults += fault_of_text(format(content, size), format(content, huge), size);
    }
    const std::size_t whole = format_xml(content, huge).size();
    return faults + fault_of_document(format_xml(content, size), whole > size, size);
}

TEST(FormatSize, OfRandomContentIsKept) {
    EXPECT_TRUE(rc::check("each format keeps to its size", [] {
        const MessageContent content = *random_content();
        const std::size_t size = *rc::gen::oneOf(rc::gen::inRange<std::size_t>(1, 200),
                                                 rc::gen::inRange<std::size_t>(200, 4'001),
                                                 rc::gen::inRange<std::size_t>(4'001, 40'000));
        RC_ASSERT(fault_at(content, size) == "");
    }));
}

constexpr std::size_t sizes[] = {1,      2,      3,      4,       5,         6,        7,    8,
                                 100,    700,    1100,   1101,    2000,      3999,     4000, 4001,
                                 10'000, 65'535, 65'536, 250'000, 2'500'000, 5'000'000};

class FormatOfSize : public testing::TestWithParam<std::size_t> {};

TEST_P(FormatOfSize, IsKeptAtTheLimitAndBesideIt) {
    std::string output;
    while (output.size() < 300'000) {
        output += "東京 <masked-7> & \"x\" " + std::string(output.size() % 300, 'y') + "\n";
    }
    const MessageContent content =
        content_with("line <masked-1>", "text\ntext", {{"show a", output, ""}, {"show b", "short\n", ""}});
    EXPECT_EQ(fault_at(content, GetParam()), "");
}

INSTANTIATE_TEST_SUITE_P(Sizes, FormatOfSize, testing::ValuesIn(sizes));

TEST(FormatSize, AWholeMessageOfExactlyItsSizeIsNotCut) {
    const MessageContent content = content_with("line", "text", {{"show a", "one\ntwo\n", ""}});
    for (const auto format : {format_full_text, format_short_text, format_xml}) {
        const std::string whole = format(content, huge);
        EXPECT_EQ(format(content, whole.size()), whole);
        EXPECT_NE(format(content, whole.size() - 1), whole);
    }
}

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(FormatSize, ALongSectionKeepsItsBeginningAndSaysThatItsEndIsMissing) {
    std::string output;
    for (int i = 0; i < 10'000; ++i) {
        output += "row " + std::to_string(i) + "\n";
    }
    const MessageContent content =
        content_with("line", "text", {{"show a", output, ""}, {"show b", "b\n", ""}});
    const std::string document = format_xml(content, 100'000);
    EXPECT_GT(document.size(), 95'000U) << "the room is used";
    EXPECT_TRUE(
        holds(document, "<section id=\"command-1\" title=\"Output of show a\" truncated=\"true\">"));
    EXPECT_TRUE(holds(document, "<line>row 0</line>") && holds(document, "<line>row 1000</line>"));
    EXPECT_FALSE(holds(document, "<line>row 9999</line>"));
    EXPECT_TRUE(holds(document, "<section id=\"command-2\" title=\"Output of show b\">"))
        << "a short one stays";
}

TEST(FormatSize, OneEndlessLineIsCutWithinTheLine) {
    const MessageContent content =
        content_with("line", "text", {{"show a", std::string(1'000'000, 'x'), ""}});
    const std::string document = format_xml(content, 100'000);
    EXPECT_LE(document.size(), 100'000U);
    EXPECT_GT(document.size(), 90'000U);
    EXPECT_EQ(tests::why_invalid(MESSAGE_SCHEMA, document), "");
}

TEST(FormatSize, AVerySmallDocumentStillHasItsHeader) {
    const MessageContent content =
        content_with(std::string(3000, '&'), std::string(3000, '<'), {{"show a", "a\n", ""}});
    const std::string document = format_xml(content, smallest_document);
    EXPECT_LE(document.size(), smallest_document);
    EXPECT_EQ(tests::why_invalid(MESSAGE_SCHEMA, document), "");
    EXPECT_TRUE(holds(document, "<id>" + stamp.id + "</id>"));
}

}  // namespace
}  // namespace callhome::service
