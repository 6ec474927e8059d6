#include <fmt/format.h>

#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::AddressType;
using protocol::MailServerRecord;
using protocol::MailSettingsRecord;

class MailSettingsTest : public RequestsTest {
 protected:
    Answer<MailSettingsRecord> settings(Operation operation, const MailSettingsRecord& record = {}) {
        return ask(Opcode::mail_settings, operation, record);
    }

    static MailSettingsRecord full_record() {
        MailSettingsRecord record{};
        write_text(record.from, "switch@example.net");
        write_text(record.reply_to, "ops@example.net");
        write_text(record.return_receipt, "seen@example.net");
        write_text(record.smtp_server, "192.0.2.25");
        record.address_type = static_cast<std::uint32_t>(AddressType::ipv4);
        record.port = 2525;
        write_text(record.vrf_name, "management");
        record.vrf_id = 7;
        return record;
    }
};

TEST_F(MailSettingsTest, StartEmptyWithAnUnknownVrf) {
    MailSettingsRecord expected{};
    expected.vrf_id = 1;
    const auto answer = settings(Operation::get);
    EXPECT_EQ(std::memcmp(&*answer.record, &expected, sizeof(expected)), 0);
}

TEST_F(MailSettingsTest, AreReadAsTheyWereSet) {
    const MailSettingsRecord record = full_record();
    EXPECT_EQ(settings(Operation::set, record).status, Status::ok);
    const auto answer = settings(Operation::get);
    EXPECT_EQ(std::memcmp(&*answer.record, &record, sizeof(record)), 0);
}

TEST_F(MailSettingsTest, RemovingStoresWhatIsLeft) {
    MailSettingsRecord record = full_record();
    settings(Operation::set, record);
    record.from[0] = 0;
    EXPECT_EQ(settings(Operation::remove, record).status, Status::ok);
    const auto answer = settings(Operation::get);
    EXPECT_STREQ(answer.record->from, "");
    EXPECT_STREQ(answer.record->reply_to, "ops@example.net");
    EXPECT_STREQ(answer.record->smtp_server, "192.0.2.25");
    EXPECT_EQ(+answer.record->port, 2525U);
}

TEST_F(MailSettingsTest, WithTheServerGoesWhatBelongsToIt) {
    MailSettingsRecord record = full_record();
    settings(Operation::set, record);
    record.smtp_server[0] = 0;
    EXPECT_EQ(settings(Operation::remove, record).status, Status::ok);
    const auto answer = settings(Operation::get);
    EXPECT_STREQ(answer.record->from, "switch@example.net");
    EXPECT_STREQ(answer.record->smtp_server, "");
    EXPECT_EQ(+answer.record->address_type, 0U);
    EXPECT_EQ(+answer.record->port, 0U);
    EXPECT_STREQ(answer.record->vrf_name, "");
    EXPECT_EQ(+answer.record->vrf_id, 1U);
}

struct BadSettings {
    const char* why;
    void (*spoil)(MailSettingsRecord& record);
};

constexpr std::array bad_settings{
    BadSettings{"a line end in the sender", [](MailSettingsRecord& record) { record.from[2] = '\n'; }},
    BadSettings{"a blank in the reply-to", [](MailSettingsRecord& record) { record.reply_to[2] = ' '; }},
    BadSettings{"a return in the receipt",
                [](MailSettingsRecord& record) { record.return_receipt[2] = '\r'; }},
    BadSettings{"a blank in the server", [](MailSettingsRecord& record) { record.smtp_server[2] = ' '; }},
    BadSettings{"no UTF-8 in the VRF", [](MailSettingsRecord& record) { record.vrf_name[2] = '\xfe'; }},
    BadSettings{"a port too high", [](MailSettingsRecord& record) { record.port = 65'536; }},
    BadSettings{"an unknown address type", [](MailSettingsRecord& record) { record.address_type = 3; }},
};

TEST_F(MailSettingsTest, WhatNoMailCanBeSentWithIsRefused) {
    settings(Operation::set, full_record());
    for (const BadSettings& bad : bad_settings) {
        MailSettingsRecord record = full_record();
        bad.spoil(record);
        EXPECT_EQ(settings(Operation::set, record).status, Status::malformed_request) << bad.why;
        EXPECT_EQ(settings(Operation::remove, record).status, Status::malformed_request) << bad.why;
    }
    const MailSettingsRecord expected = full_record();
    const auto answer = settings(Operation::get);
    EXPECT_EQ(std::memcmp(&*answer.record, &expected, sizeof(expected)), 0);
}

class MailServerTest : public RequestsTest {
 protected:
    Answer<MailServerRecord> server(Operation operation, const MailServerRecord& record) {
        return ask(Opcode::mail_server, operation, record);
    }

    static MailServerRecord named(std::string_view host) {
        MailServerRecord record{};
        write_text(record.host, host);
        record.address_type = static_cast<std::uint32_t>(AddressType::host_name);
        record.port = 25;
        record.priority = 50;
        record.reserved = 1;
        return record;
    }
};

TEST_F(MailServerTest, IsAddedReadChangedAndRemoved) {
    MailServerRecord record = named("mx.example.net");
    EXPECT_EQ(server(Operation::get, record).status, Status::not_found);
    EXPECT_EQ(server(Operation::set, record).status, Status::ok);
    record.priority = 1;
    write_text(record.vrf_name, "blue");
    record.vrf_id = 4;
    EXPECT_EQ(server(Operation::set, record).status, Status::ok);
    const auto answer = server(Operation::get, named("mx.example.net"));
    EXPECT_EQ(std::memcmp(&*answer.record, &record, sizeof(record)), 0);
    EXPECT_EQ(server(Operation::remove, record).status, Status::ok);
    EXPECT_EQ(server(Operation::remove, record).status, Status::not_found);
}

TEST_F(MailServerTest, KeepsItsPort) {
    MailServerRecord record = named("mx.example.net");
    server(Operation::set, record);
    record.port = 26;
    EXPECT_EQ(server(Operation::set, record).status, Status::malformed_request);
    EXPECT_EQ(configuration().mail_servers.front().port, 25U);
}

TEST_F(MailServerTest, AreWalkedByHost) {
    for (const char* host : {"mx2", "192.0.2.1", "mx1"}) {
        server(Operation::set, named(host));
    }
    std::vector<std::string> hosts;
    auto answer = server(Operation::get_next, MailServerRecord{});
    while (answer.status == Status::ok) {
        hosts.push_back(read_text(answer.record->host));
        answer = server(Operation::get_next, *answer.record);
    }
    EXPECT_EQ(answer.status, Status::no_further_entry);
    EXPECT_EQ(hosts, (std::vector<std::string>{"192.0.2.1", "mx1", "mx2"}));
}

TEST_F(MailServerTest, TheWalkGoesOnBehindAServerThatIsGone) {
    server(Operation::set, named("mx2"));
    EXPECT_STREQ(server(Operation::get_next, named("mx1")).record->host, "mx2");
}

TEST_F(MailServerTest, SixteenAreTheLimit) {
    for (int number = 0; number < 16; ++number) {
        ASSERT_EQ(server(Operation::set, named(fmt::format("mx{}", number))).status, Status::ok);
    }
    EXPECT_EQ(server(Operation::set, named("one-more")).status, Status::limit_reached);
    EXPECT_EQ(server(Operation::set, named("mx7")).status, Status::ok) << "a change is no addition";
}

struct BadServer {
    const char* why;
    void (*spoil)(MailServerRecord& record);
};

constexpr std::array bad_servers{
    BadServer{"no host", [](MailServerRecord& record) { record.host[0] = 0; }},
    BadServer{"a blank in the host", [](MailServerRecord& record) { record.host[1] = ' '; }},
    BadServer{"a line end in the host", [](MailServerRecord& record) { record.host[1] = '\n'; }},
    BadServer{"port 0", [](MailServerRecord& record) { record.port = 0; }},
    BadServer{"a port too high", [](MailServerRecord& record) { record.port = 65'536; }},
    BadServer{"priority 0", [](MailServerRecord& record) { record.priority = 0; }},
    BadServer{"priority 101", [](MailServerRecord& record) { record.priority = 101; }},
    BadServer{"an unknown address type", [](MailServerRecord& record) { record.address_type = 9; }},
    BadServer{"a tab in the VRF", [](MailServerRecord& record) { record.vrf_name[0] = '\t'; }},
};

TEST_F(MailServerTest, WhatNoServerCanBeIsRefused) {
    for (const BadServer& bad : bad_servers) {
        MailServerRecord record = named("mx.example.net");
        bad.spoil(record);
        EXPECT_EQ(server(Operation::set, record).status, Status::malformed_request) << bad.why;
    }
    EXPECT_TRUE(configuration().mail_servers.empty());
}

TEST_F(MailServerTest, TheEndsOfEachRangeAreAccepted) {
    MailServerRecord record = named("low");
    record.port = 1;
    record.priority = 1;
    EXPECT_EQ(server(Operation::set, record).status, Status::ok);
    record = named("high");
    record.port = 65'535;
    record.priority = 100;
    EXPECT_EQ(server(Operation::set, record).status, Status::ok);
}

}  // namespace
}  // namespace callhome::service
