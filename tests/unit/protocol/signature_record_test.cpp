#include <gtest/gtest.h>

#include <vector>

#include "bytes.h"
#include "protocol/layout.h"
#include "protocol/records/signature.h"

namespace callhome::protocol::test {
namespace {

TEST(SignatureRecord, ActionTravelsWithItsResultBehindTheFile) {
    DsActionRecord record{};
    record.action = static_cast<std::uint32_t>(SignatureAction::load_file);
    record.ds_id = 0x01020304;
    put(record.file_name, "/tmp/1004.xml");
    record.status = 1032;
    record.entry_count = 2;
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .raw("\0\0\0\x22\x01\x02\x03\x04")
                                              .text("/tmp/1004.xml", 201)
                                              .raw("\x00\x00\x04\x08\0\0\0\x02"));
}

TEST(SignatureRecord, QuestionTravelsAsTexts) {
    DsQuestionRecord record{};
    record.key[15] = 7;
    put(record.answer, "eth0");
    put(record.prompt, "Which interface?");
    put(record.result, "There is no such interface");
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .text("", 15)
                                              .raw("\x07")
                                              .text("eth0", 128)
                                              .text("Which interface?", 128)
                                              .text("There is no such interface", 128));
}

TEST(SignatureRecord, SettingsTravelWithTheirResult) {
    DsEnvironmentRecord variable{};
    put(variable.name, "ds_hostname");
    put(variable.value, "core-1");
    variable.status = 1037;
    EXPECT_EQ(in_transport_order(variable),
              Bytes().text("ds_hostname", 16).text("core-1", 128).raw("\x00\x00\x04\x0D\0"));
    DsProfileRecord profile{};
    put(profile.profile_name, "operations");
    profile.status = 1037;
    EXPECT_EQ(in_transport_order(profile), Bytes().text("operations", 32).raw("\x00\x00\x04\x0D\0"));
    EXPECT_EQ(in_transport_order(DsActiveRecord{.active = 1, .reserved = {}}), Bytes().raw("\x01\0\0\0\0"));
}

TEST(SignatureRecord, WhatIsAskedForTravelsAsWords) {
    EXPECT_EQ(in_transport_order(DsShowRequest{.view = 9, .ds_id = 1004}),
              Bytes().raw("\0\0\0\x09\x00\x00\x03\xEC"));
    EXPECT_EQ(in_transport_order(DsStatsClearRecord{.statistics = 21}), Bytes().raw("\0\0\0\x15"));
    EXPECT_EQ(in_transport_order(MsgStatsClearRecord{.counters = 2, .status = 1}),
              Bytes().raw("\0\0\0\x02\0\0\0\x01"));
    EXPECT_EQ(in_transport_order(ServiceInfoRequest{.info_type = 0x08000000}), Bytes().raw("\x08\0\0\0"));
}

TEST(SignatureRecord, QuestionsMayStandBehindAnActionBothWays) {
    const Exchange& exchange = *find_exchange(0x4C40C);
    EXPECT_EQ(exchange.behind_request, 64U * 400U);
    EXPECT_EQ(exchange.behind_reply, 64U * 400U);
    for (const std::size_t size : {217U, 217U + 400U, 217U + 64U * 400U}) {
        EXPECT_EQ(why_invalid(std::vector<std::byte>(size), exchange.request, exchange.behind_request),
                  nullptr);
    }
    for (const std::size_t size : {0U, 216U, 217U + 64U * 400U + 1U}) {
        EXPECT_STREQ(why_invalid(std::vector<std::byte>(size), exchange.request, exchange.behind_request),
                     "the record has another length than its opcode's");
    }
}

}  // namespace
}  // namespace callhome::protocol::test
