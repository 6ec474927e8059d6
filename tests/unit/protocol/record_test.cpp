// Every record byte for byte: shells and services of other versions rely on these.
#include "bytes.h"
#include "protocol/records/alert_group.h"
#include "protocol/records/contact.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/distribution.h"
#include "protocol/records/feature.h"
#include "protocol/records/http.h"
#include "protocol/records/inventory.h"
#include "protocol/records/mail.h"
#include "protocol/records/message.h"
#include "protocol/records/privacy.h"

namespace callhome::protocol::test {
namespace {

TEST(Record, SwitchTravelsAsAWordAndAFlag) {
    const SwitchRecord record{.enabled = 0x01020304, .trailing_flag = 0xA5};
    EXPECT_EQ(in_transport_order(record), Bytes().raw("\x01\x02\x03\x04\xA5"));
}

TEST(Record, ContactFieldTravelsAsTwoTextsAndAFlag) {
    ContactRecord record{};
    put(record.name, "siteId");
    put(record.value, "Berlin");
    record.trailing_flag = 0xA5;
    EXPECT_EQ(in_transport_order(record), Bytes().text("siteId", 256).text("Berlin", 2048).raw("\xA5"));
}

TEST(Record, ProfileTravelsWithItsWordsBehindItsName) {
    ProfileRecord record{};
    put(record.name, "full_txt");
    record.transport_methods = 3;
    record.format = 2;
    record.message_size = 2500000;
    record.lookup_flag = 1;
    record.message_level = 0xF9;
    record.spare = 0x5A;
    record.trailing_flag = 0xA5;
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .text("full_txt", 32)
                                              .raw("\0\0\0\x03\0\0\0\x02")
                                              .raw("\x00\x26\x25\xA0\0\0\0\x01")
                                              .raw("\xF9\x5A\xA5"));
}

TEST(Record, AddressTravelsWithItsWordsBehindItsTexts) {
    AddressRecord record{};
    put(record.name, "noc");
    put(record.address, "noc@example.net");
    record.index = 0x01020304;
    record.reserved = 1;
    record.trailing_flag = 0xA5;
    EXPECT_EQ(in_transport_order(record),
              Bytes().text("noc", 32).text("noc@example.net", 256).raw("\x01\x02\x03\x04\0\0\0\x01\xA5"));
}

TEST(Record, MailSettingsTravelWithAnUnalignedWordAtTheirEnd) {
    MailSettingsRecord record{};
    put(record.from, "from");
    put(record.reply_to, "reply");
    put(record.return_receipt, "receipt");
    put(record.smtp_server, "192.0.2.7");
    record.address_type = static_cast<std::uint32_t>(AddressType::host_name);
    record.port = 587;
    record.trailing_flag = 0xA5;
    put(record.vrf_name, "red");
    record.vrf_id = 0x01020304;
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .text("from", 256)
                                              .text("reply", 256)
                                              .text("receipt", 256)
                                              .text("192.0.2.7", 256)
                                              .raw("\0\0\0\x10\0\0\x02\x4B\xA5")
                                              .text("red", 256)
                                              .raw("\x01\x02\x03\x04"));
}

TEST(Record, MailServerTravelsWithAnUnalignedWordAtItsEnd) {
    MailServerRecord record{};
    put(record.host, "2001:db8::1");
    record.address_type = static_cast<std::uint32_t>(AddressType::ipv6);
    record.port = 25;
    record.priority = 50;
    record.reserved = 1;
    record.trailing_flag = 0xA5;
    put(record.vrf_name, "red");
    record.vrf_id = 0x01020304;
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .text("2001:db8::1", 256)
                                              .raw("\0\0\0\x02\0\0\0\x19\0\0\0\x32\0\0\0\x01\xA5")
                                              .text("red", 256)
                                              .raw("\x01\x02\x03\x04"));
}

TEST(Record, MessageTravelsWithItsReplyTextAtByte68) {
    SendMessageRecord record{};
    put(record.type, "OBX_ALERT");
    record.result = 0x01020304;
    put(record.reply_text, "Successfully sent");
    put(record.parameter_1, "one");
    put(record.parameter_2, "two");
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .text("OBX_ALERT", 64)
                                              .raw("\x01\x02\x03\x04")
                                              .text("Successfully sent", 2048)
                                              .text("one", 256)
                                              .text("two", 256));
}

TEST(Record, MessageLogTravelsWithItsWordsFirst) {
    MessageLogRecord record{.id = 1,
                            .recorded_at = 2,
                            .size = 3,
                            .format = 4,
                            .waiting = 5,
                            .delivered = 6,
                            .failed = 7,
                            .type = {},
                            .profile = {},
                            .subject = {}};
    put(record.type, "test");
    put(record.profile, "noc");
    put(record.subject, "hello");
    EXPECT_EQ(in_transport_order(record),
              Bytes()
                  .raw("\0\0\0\x01\0\0\0\x02\0\0\0\x03\0\0\0\x04\0\0\0\x05\0\0\0\x06\0\0\0\x07")
                  .text("test", 64)
                  .text("noc", 32)
                  .text("hello", 256));
}

TEST(Record, DeliveryLogTravelsWithItsWordsFirst) {
    DeliveryLogRecord record{.id = 1,
                             .message_id = 2,
                             .state = 3,
                             .attempts = 4,
                             .next_attempt_at = 5,
                             .last_attempt_at = 0xFEDCBA98,
                             .receiver = {},
                             .last_result = {},
                             .profile = {}};
    put(record.receiver, "noc@example.net");
    put(record.last_result, "450 later");
    put(record.profile, "noc");
    EXPECT_EQ(in_transport_order(record),
              Bytes()
                  .raw("\0\0\0\x01\0\0\0\x02\0\0\0\x03\0\0\0\x04\0\0\0\x05\xFE\xDC\xBA\x98")
                  .text("noc@example.net", 256)
                  .text("450 later", 512)
                  .text("noc", 32));
}

TEST(Record, AlertTravelsAsThreeTextsAndItsSeverity) {
    AlertRecord record{};
    put(record.alert, "SUP_FAILURE");
    put(record.source, "system manager");
    put(record.text, "down");
    record.severity = 0x01020304;
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .text("SUP_FAILURE", 64)
                                              .text("system manager", 256)
                                              .text("down", 2048)
                                              .raw("\x01\x02\x03\x04"));
}

TEST(Record, MessageKeyTravelsAsAWord) {
    EXPECT_EQ(in_transport_order(MessageKeyRecord{.id = 0x01020304}), Bytes().raw("\x01\x02\x03\x04"));
}

TEST(Record, SubscriptionTravelsWithItsGroupAtByte40) {
    SubscriptionRecord record{};
    put(record.name, "noc");
    record.index = 0x01020304;
    record.reserved = 1;
    put(record.group, "linecard-hardware");
    record.spare = 0x05060708;
    record.trailing_flag = 0xA5;
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .text("noc", 32)
                                              .raw("\x01\x02\x03\x04\0\0\0\x01")
                                              .text("linecard-hardware", 256)
                                              .raw("\x05\x06\x07\x08\xA5"));
}

TEST(Record, UserCommandTravelsWithAWordBeforeEachText) {
    UserCommandRecord record{};
    record.index = 0x01020304;
    put(record.group, "system");
    record.reserved = 1;
    put(record.command, "show version");
    record.trailing_flag = 0xA5;
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .raw("\x01\x02\x03\x04")
                                              .text("system", 256)
                                              .raw("\0\0\0\x01")
                                              .text("show version", 600)
                                              .raw("\xA5"));
}

TEST(Record, HttpProxyTravelsWithItsSettingsUntouched) {
    HttpProxyRecord record{};
    put(record.server, "proxy");
    record.address_type = static_cast<std::uint32_t>(AddressType::host_name);
    record.port = 8080;
    record.enabled = 1;
    std::memset(record.settings, 0x5A, sizeof record.settings);
    record.trailing_flag = 0xA5;
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .text("proxy", 256)
                                              .raw("\0\0\0\x10\x00\x00\x1F\x90\x01")
                                              .text(std::string(93, 0x5A), 93)
                                              .raw("\xA5"));
}

TEST(Record, HttpVrfTravelsAsATextAndAFlag) {
    HttpVrfRecord record{};
    put(record.vrf_name, "management");
    record.trailing_flag = 0xA5;
    EXPECT_EQ(in_transport_order(record), Bytes().text("management", 256).raw("\xA5"));
}

TEST(Record, PeriodicInventoryTravelsWithAnUnalignedWordAtItsEnd) {
    const PeriodicInventoryRecord record{
        .notification = 1, .time_period = 7, .trailing_flag = 0xA5, .time_of_day = 480};
    EXPECT_EQ(in_transport_order(record), Bytes().raw("\0\0\0\x01\0\0\0\x07\xA5\x00\x00\x01\xE0"));
}

TEST(Record, SoftwareTravelsWithItsCountAtByte255) {
    SoftwareRecord record{};
    put(record.name, "libc6");
    record.pairs = 2;
    EXPECT_EQ(in_transport_order(record), Bytes().text("libc6", 255).raw("\0\0\0\x02"));
}

TEST(Record, PrivacyTravelsAsTwoWordsAndAByte) {
    const PrivacyRecord record{.item = 3, .remove = 1, .spare = 0xA5};
    EXPECT_EQ(in_transport_order(record), Bytes().raw("\0\0\0\x03\0\0\0\x01\xA5"));
}

TEST(Record, PrivacyReplyIsLeftInTransportOrder) {
    const PrivacyReply record{{1, 2, 3, 4}};
    EXPECT_EQ(in_transport_order(record), Bytes().raw("\x01\x02\x03\x04"));
}

TEST(Record, DistributionAndClearSessionTravelAsAWord) {
    EXPECT_EQ(in_transport_order(DistributionRecord{.enabled = 0x01020304}),
              Bytes().raw("\x01\x02\x03\x04"));
    EXPECT_EQ(in_transport_order(ClearSessionRecord{.whoever_owns_it = 0x01020304}),
              Bytes().raw("\x01\x02\x03\x04"));
}

TEST(Record, CommitTravelsWithItsResultAsTheSeventhWord) {
    CommitRecord record{};
    record.action = 4;
    record.result = 3;
    record.cause = 0x403B0002;
    EXPECT_EQ(in_transport_order(record),
              Bytes().raw("\0\0\0\x04").text("", 20).raw("\0\0\0\x03\x40\x3B\x00\x02").text("", 12));
}

TEST(Record, SessionTravelsWithItsWordsAroundItsOwner) {
    SessionRecord record{};
    record.is_open = 1;
    record.opened_at = 2;
    put(record.owner, "ada");
    record.last_action = 4;
    record.last_result = 3;
    record.last_cause = 5;
    record.last_at = 6;
    put(record.last_user, "grace");
    EXPECT_EQ(in_transport_order(record), Bytes()
                                              .raw("\0\0\0\x01\0\0\0\x02")
                                              .text("ada", 64)
                                              .raw("\0\0\0\x04\0\0\0\x03\0\0\0\x05\0\0\0\x06")
                                              .text("grace", 64));
}

}  // namespace
}  // namespace callhome::protocol::test
