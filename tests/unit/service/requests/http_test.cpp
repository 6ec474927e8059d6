#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::HttpProxyRecord;
using protocol::HttpVrfRecord;

HttpProxyRecord proxy_record(std::string_view server, std::uint32_t port = 8080, std::uint8_t enabled = 0) {
    HttpProxyRecord record{};
    write_text(record.server, server);
    record.address_type = static_cast<std::uint32_t>(protocol::AddressType::host_name);
    record.port = port;
    record.enabled = enabled;
    return record;
}

class HttpTest : public RequestsTest {
 protected:
    Answer<HttpProxyRecord> proxy(Operation operation, const HttpProxyRecord& record) {
        return ask(Opcode::http_proxy, operation, record);
    }
    HttpProxyRecord proxy() { return *proxy(Operation::get, {}).record; }
    Answer<HttpVrfRecord> vrf(Operation operation, std::string_view name) {
        HttpVrfRecord record{};
        write_text(record.vrf_name, name);
        return ask(Opcode::http_vrf, operation, record);
    }
};

TEST_F(HttpTest, WithoutAProxyThereIsARecordToChange) {
    EXPECT_EQ(proxy(Operation::get, {}).status, Status::ok);
    EXPECT_STREQ(proxy().server, "");
    EXPECT_EQ(+proxy().port, 8'080U);
    EXPECT_EQ(proxy().enabled, 0);
}

TEST_F(HttpTest, AProxyIsConfiguredReadAndRemoved) {
    HttpProxyRecord record = proxy_record("proxy.example", 3'128, 1);
    record.settings[5] = 77;
    record.trailing_flag = 1;
    EXPECT_EQ(proxy(Operation::set, record).status, Status::ok);
    EXPECT_STREQ(proxy().server, "proxy.example");
    EXPECT_EQ(+proxy().address_type, 16U);
    EXPECT_EQ(+proxy().port, 3'128U);
    EXPECT_EQ(proxy().enabled, 1);
    EXPECT_EQ(proxy().settings[5], 0) << "the service's own bytes are not the client's";
    EXPECT_EQ(proxy(Operation::remove, proxy()).status, Status::ok);
    EXPECT_STREQ(proxy().server, "");
    EXPECT_EQ(+proxy().port, 8'080U);
    EXPECT_EQ(proxy().enabled, 0);
    EXPECT_EQ(proxy(Operation::remove, proxy()).status, Status::not_found);
}

TEST_F(HttpTest, NothingIsSetWithoutAServer) {
    EXPECT_EQ(proxy(Operation::set, proxy_record("", 8'080, 1)).status, Status::not_found);
    EXPECT_EQ(proxy(Operation::set, proxy_record("", 3'128)).status, Status::not_found);
    EXPECT_EQ(+proxy().port, 8'080U);
}

TEST_F(HttpTest, AnotherProxyThanTheConfiguredOneIsNotRemoved) {
    proxy(Operation::set, proxy_record("proxy.example"));
    EXPECT_EQ(proxy(Operation::remove, proxy_record("other.example")).status, Status::not_found);
    EXPECT_EQ(proxy(Operation::remove, proxy_record("")).status, Status::ok);
}

TEST_F(HttpTest, WhatNoProxyCanBeIsRefused) {
    HttpProxyRecord unknown_type = proxy_record("proxy.example");
    unknown_type.address_type = 3;
    for (const HttpProxyRecord& record :
         {proxy_record("a b"), proxy_record("proxy.example", 0), proxy_record("proxy.example", 65'536),
          proxy_record("proxy.example", 80, 2), unknown_type}) {
        EXPECT_EQ(proxy(Operation::set, record).status, Status::malformed_request);
    }
    EXPECT_EQ(proxy(Operation::set, proxy_record("proxy.example", 65'535)).status, Status::ok);
    EXPECT_EQ(proxy(Operation::set, proxy_record("proxy.example", 1)).status, Status::ok);
}

TEST_F(HttpTest, AVrfIsConfiguredReadAndRemoved) {
    EXPECT_EQ(vrf(Operation::get, "").status, Status::not_found);
    EXPECT_EQ(vrf(Operation::set, "management").status, Status::ok);
    EXPECT_STREQ(vrf(Operation::get, "").record->vrf_name, "management");
    EXPECT_EQ(vrf(Operation::remove, "red").status, Status::not_found);
    EXPECT_EQ(vrf(Operation::remove, "management").status, Status::ok);
    EXPECT_EQ(vrf(Operation::get, "").status, Status::not_found);
    EXPECT_EQ(vrf(Operation::remove, "").status, Status::not_found);
    for (const char* name : {"", "a b", "a\n"}) {
        EXPECT_EQ(vrf(Operation::set, name).status, Status::malformed_request) << name;
    }
}

TEST_F(HttpTest, ProxyAndVrfDoNotTouchEachOther) {
    vrf(Operation::set, "management");
    proxy(Operation::set, proxy_record("proxy.example"));
    EXPECT_STREQ(vrf(Operation::get, "").record->vrf_name, "management");
    proxy(Operation::remove, proxy_record(""));
    EXPECT_STREQ(vrf(Operation::get, "").record->vrf_name, "management");
    proxy(Operation::set, proxy_record("proxy.example"));
    vrf(Operation::remove, "");
    EXPECT_STREQ(proxy().server, "proxy.example");
}

}  // namespace
}  // namespace callhome::service
