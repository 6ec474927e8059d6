#include "protocol/layout.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <vector>

#include "bytes.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/mail.h"
#include "protocol/status.h"

namespace callhome::protocol::test {
namespace {

// What `tiles` must refuse is refused while this file is compiled.
constexpr std::array whole{Field{"a", 0, 4, FieldKind::number}, Field{"b", 4, 1, FieldKind::number}};
constexpr std::array with_gap{Field{"a", 0, 4, FieldKind::number}, Field{"b", 5, 1, FieldKind::number}};
constexpr std::array overlapping{Field{"a", 0, 4, FieldKind::number}, Field{"b", 3, 2, FieldKind::bytes}};
constexpr std::array with_nothing{Field{"a", 0, 0, FieldKind::bytes}, Field{"b", 0, 5, FieldKind::bytes}};
static_assert(tiles(whole, 5));
static_assert(!tiles(whole, 6), "a record that is longer than its fields");
static_assert(!tiles(whole, 4), "a record that is shorter than its fields");
static_assert(!tiles(with_gap, 6));
static_assert(!tiles(overlapping, 5));
static_assert(!tiles(with_nothing, 5));
static_assert(kind_of<char[8]>() == FieldKind::text);
static_assert(kind_of<std::uint8_t[8]>() == FieldKind::bytes);
static_assert(kind_of<std::uint8_t>() == FieldKind::number);
static_assert(kind_of<std::uint32_t>() == FieldKind::number);

std::vector<std::byte> numbered(std::size_t size) {
    std::vector<std::byte> bytes(size);
    for (std::size_t index = 0; index < size; ++index) {
        bytes[index] = static_cast<std::byte>(index % 251);
    }
    return bytes;
}

TEST(Layout, EveryOpcodeHasItsRecords) {
    const std::map<std::uint32_t, std::pair<std::size_t, std::size_t>> lengths{
        {2152, {1293, 1293}},  {2153, {297, 297}},    {2154, {51, 51}},      {2155, {2305, 2305}},
        {2156, {5, 5}},        {2157, {2628, 2628}},  {2188, {5, 5}},        {2190, {297, 297}},
        {2193, {533, 533}},    {0x4C480, {380, 380}}, {0x4C481, {824, 824}}, {0x4C482, {4, 0}},
        {0x4C483, {2372, 0}},  {0x4C404, {4, 0}},     {0x4C405, {8, 0}},     {0x4C407, {8, 8}},
        {0x4C408, {5, 5}},     {0x4C409, {37, 37}},   {0x4C40A, {149, 149}}, {0x4C40B, {4, 4}},
        {0x4C40C, {217, 217}}, {0x4C485, {64, 0}},    {0x4C486, {4, 0}}};
    for (const auto& [opcode, expected] : lengths) {
        const Exchange* exchange = find_exchange(opcode);
        ASSERT_NE(exchange, nullptr) << opcode;
        EXPECT_EQ(exchange->request.size, expected.first) << opcode;
        EXPECT_EQ(exchange->reply.size, expected.second) << opcode;
    }
}

TEST(Layout, ANumberThatNobodyUsesHasNone) {
    for (const std::uint32_t opcode : {0U, 1U, 2151U, 2158U, 0x4C47FU, 0xFFFFFFFFU}) {
        EXPECT_EQ(find_exchange(opcode), nullptr) << opcode;
    }
}

TEST(Layout, ConvertingTwiceChangesNothing) {
    for (const std::uint32_t opcode :
         {2152U, 2153U, 2154U, 2155U, 2156U, 2157U, 2193U, 0x4C480U, 0x4C481U}) {
        const Layout& layout = find_exchange(opcode)->request;
        const auto original = numbered(layout.size);
        auto converted = original;
        convert_byte_order(converted, layout);
        EXPECT_EQ(converted == original, opcode == 2155) << "only the contact field has no word";
        convert_byte_order(converted, layout);
        EXPECT_EQ(converted, original);
    }
}

TEST(Layout, OnlyWordsThatLieWholeWithinAShortRecordAreConverted) {
    const Layout layout = layout_of<ProfileRecord>();
    constexpr std::size_t first_word = 32;
    constexpr std::size_t words = 4;
    for (std::size_t length = 0; length <= layout.size; ++length) {
        auto bytes = numbered(length);
        auto expected = bytes;
        for (std::size_t word = 0; word < words && first_word + 4 * word + 4 <= length; ++word) {
            const auto begin = expected.begin() + static_cast<std::ptrdiff_t>(first_word + 4 * word);
            std::reverse(begin, begin + 4);
        }
        convert_byte_order(bytes, layout);
        EXPECT_EQ(bytes, expected) << length;
    }
}

TEST(Layout, BytesBehindTheRecordAreLeftAlone) {
    auto bytes = numbered(sizeof(ProfileRecord) + 20);
    const auto original = bytes;
    convert_byte_order(bytes, layout_of<ProfileRecord>());
    EXPECT_TRUE(std::equal(bytes.begin() + sizeof(ProfileRecord), bytes.end(),
                           original.begin() + sizeof(ProfileRecord)));
}

TEST(Layout, ATextReplyIsNeverConverted) {
    auto bytes = numbered(100);
    const auto original = bytes;
    convert_byte_order(bytes, text_reply);
    EXPECT_EQ(bytes, original);
}

TEST(Layout, ARecordOfAnotherLengthIsRefused) {
    const Layout layout = layout_of<AddressRecord>();
    for (std::size_t length = 0; length < layout.size + 10; ++length) {
        const std::vector<std::byte> zeros(length);
        if (length == layout.size) {
            EXPECT_EQ(why_invalid(zeros, layout), nullptr);
        } else {
            EXPECT_STREQ(why_invalid(zeros, layout), "the record has another length than its opcode's");
        }
    }
}

TEST(Layout, ATextWithoutATerminatorIsRefusedWhicheverItIs) {
    const Layout layout = layout_of<MailSettingsRecord>();
    int texts = 0;
    for (const Field& field : layout.fields) {
        std::vector<std::byte> record(layout.size);
        std::fill_n(record.begin() + static_cast<std::ptrdiff_t>(field.offset), field.size, std::byte{'x'});
        if (field.kind == FieldKind::text) {
            EXPECT_STREQ(why_invalid(record, layout), "a text has no terminator") << field.name;
            record[field.offset + field.size - 1] = std::byte{0};
            ++texts;
        }
        EXPECT_EQ(why_invalid(record, layout), nullptr) << field.name;
    }
    EXPECT_EQ(texts, 5);
}

TEST(Status, EachHasOneTextThatNoOtherHas) {
    std::set<std::string> texts;
    for (const auto& [status, text] : status_texts) {
        EXPECT_STREQ(text_of(status), text);
        EXPECT_TRUE(texts.insert(text).second) << text;
    }
    EXPECT_EQ(text_of(static_cast<Status>(0x403B0099)), nullptr);
}

}  // namespace
}  // namespace callhome::protocol::test
