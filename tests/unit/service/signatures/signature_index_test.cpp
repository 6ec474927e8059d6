#include "signatures/signature_index.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include "schema_check.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

std::string index_with(const std::string& entries) {
    return "<?xml version=\"1.0\"?>\n<signatureIndex xmlns=\"urn:callhome:signature-index:1\">" + entries +
           "</signatureIndex>";
}

std::string entries(std::size_t count) {
    std::string text;
    for (std::size_t id = 1; id <= count; ++id) {
        text += fmt::format("<signature id=\"{}\" revision=\"1\"/>", id);
    }
    return text;
}

TEST(SignatureIndex, GivesItsEntriesInTheirOrder) {
    const auto index = read_signature_index(
        index_with("<signature id=\"20\" revision=\"1.2\"/>\n<signature id=\"3\" revision=\"b\"/>"));
    const auto& found = std::get<std::vector<IndexEntry>>(index);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].id, 20U);
    EXPECT_EQ(found[0].revision, "1.2");
    EXPECT_EQ(found[1].id, 3U);
}

TEST(SignatureIndex, WhatIsReadIsValidByTheShippedSchema) {
    for (const std::size_t count : {0U, 1U, 256U}) {
        EXPECT_EQ(tests::why_invalid(INDEX_SCHEMA, index_with(entries(count))), "");
    }
    EXPECT_NE(tests::why_invalid(INDEX_SCHEMA, index_with(entries(257))), "");
}

TEST(SignatureIndex, MayBeEmpty) {
    EXPECT_TRUE(std::get<std::vector<IndexEntry>>(read_signature_index(index_with(""))).empty());
}

TEST(SignatureIndex, HasAsManyEntriesAsAreTakenAndNoMore) {
    const auto whole = read_signature_index(index_with(entries(256)));
    EXPECT_EQ(std::get<std::vector<IndexEntry>>(whole).size(), 256U);
    const auto longer = read_signature_index(index_with(entries(257)));
    EXPECT_EQ(std::get<Refusal>(longer).code, ResultCode::over_length);
}

TEST(SignatureIndex, AFileThatIsTooLongIsNotLookedInto) {
    const auto index = read_signature_index(index_with(std::string(1024UL * 1024UL, ' ')));
    EXPECT_EQ(std::get<Refusal>(index).code, ResultCode::over_length);
}

class UnreadableIndex : public testing::TestWithParam<std::string> {};

TEST_P(UnreadableIndex, IsRefusedAndSaysWhy) {
    const auto index = read_signature_index(GetParam());
    ASSERT_TRUE(std::holds_alternative<Refusal>(index));
    EXPECT_EQ(std::get<Refusal>(index).code, ResultCode::http_answer_unreadable);
    EXPECT_TRUE(std::get<Refusal>(index).why.starts_with("index")) << std::get<Refusal>(index).why;
}

// But for the blank before a number, which a schema lets pass, and the document type, which it does not
// see.
TEST_P(UnreadableIndex, IsInvalidByTheShippedSchemaToo) {
    const bool is_beyond_schemas =
        GetParam().find("id=\" 1\"") != std::string::npos || GetParam().starts_with("<!DOCTYPE");
    EXPECT_EQ(tests::why_invalid(INDEX_SCHEMA, GetParam()).empty(), is_beyond_schemas);
}

INSTANTIATE_TEST_SUITE_P(
    Table, UnreadableIndex,
    testing::Values("", "<html><body>Welcome!</body></html>", "not XML", "<signatureIndex/>",
                    "<other xmlns=\"urn:callhome:signature-index:1\"/>",
                    index_with("<signature id=\"1\"/>"), index_with("<signature revision=\"1\"/>"),
                    index_with("<file id=\"1\" revision=\"1\"/>"),
                    index_with("<signature id=\"0\" revision=\"1\"/>"),
                    index_with("<signature id=\"-1\" revision=\"1\"/>"),
                    index_with("<signature id=\"1x\" revision=\"1\"/>"),
                    index_with("<signature id=\" 1\" revision=\"1\"/>"),
                    index_with("<signature id=\"100000000\" revision=\"1\"/>"),
                    index_with("<signature id=\"99999999999999999999\" revision=\"1\"/>"),
                    index_with("<signature id=\"1\" revision=\"\"/>"),
                    index_with("<signature id=\"1\" revision=\"123456789\"/>"),
                    index_with("<signature id=\"1\" revision=\"a b\"/>"),
                    index_with("<signature id=\"1\" revision=\"1\"/><signature id=\"1\" revision=\"2\"/>"),
                    index_with("<a><b><c><d/></c></b></a>"),
                    "<!DOCTYPE signatureIndex [<!ENTITY a \"a\">]>" +
                        index_with("<signature id=\"1\" revision=\"1\"/>").substr(22),
                    index_with("<signature id=\"1\" revision=\"1\"/>").substr(0, 90)));

}  // namespace
}  // namespace callhome::service
