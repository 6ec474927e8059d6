#include "protocol/records/http.h"
#include "command.h"

namespace callhome::test {
namespace {

using protocol::HttpProxyRecord;
using protocol::HttpVrfRecord;

constexpr std::uint32_t vrf_name = 84;
constexpr std::uint32_t proxy_enable = 98;
constexpr std::uint32_t proxy_server = 99;
constexpr std::uint32_t proxy_port = 100;

// A proxy as the service keeps it; every byte carries something.
HttpProxyRecord kept_proxy() {
    HttpProxyRecord proxy{};
    put(proxy.server, "proxy.example.net");
    proxy.address_type = 16;
    proxy.port = 8080;
    proxy.enabled = 1;
    std::memset(proxy.settings, 0x5A, sizeof proxy.settings);
    proxy.trailing_flag = 9;
    return proxy;
}

// The kept proxy, as a change of nothing sends it.
HttpProxyRecord unchanged() {
    HttpProxyRecord proxy = kept_proxy();
    proxy.trailing_flag = 0;
    return proxy;
}

class HttpProxyTest : public LibraryTest {
 protected:
    HttpProxyTest() { service_says(answer(kept_proxy())); }

    Outcome configure() { return run(callhome_http_proxy, command_); }

    static HttpProxyRecord sent() { return platform().exchanges.back().record<HttpProxyRecord>(); }
    static void expect_sent(const HttpProxyRecord& expected) {
        const Exchange& last = platform().exchanges.back();
        EXPECT_EQ(last.length, 359U);
        EXPECT_FALSE(last.wants_reply);
        EXPECT_TRUE(last.sent == in_transport_order(expected));
    }

    Command command_;
};

TEST_F(HttpProxyTest, SendsWhatItHasReadBack) {
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), (Asked{"2195/5", "2195/3"}));
    EXPECT_TRUE(platform().exchanges.at(0).sent == in_transport_order(HttpProxyRecord{}));
    EXPECT_EQ(platform().exchanges.at(0).length, 359U);
    EXPECT_TRUE(platform().exchanges.at(0).wants_reply);
    expect_sent(unchanged());
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(HttpProxyTest, FallsBackToTheEffectiveCopyWithTheSameRecord) {
    for (const ServiceStatus no_pending_copy : {0x403B0032, 0x403B0034}) {
        platform().exchanges.clear();
        platform().answers.clear();
        service_says(answer(HttpProxyRecord{}, no_pending_copy));
        service_says(answer(kept_proxy()));
        configure();
        EXPECT_EQ(asked(), (Asked{"2195/5", "2195/1", "2195/3"}));
        EXPECT_TRUE(platform().exchanges.at(1).handed_over == platform().exchanges.at(0).sent);
        expect_sent(unchanged());
    }
}

TEST_F(HttpProxyTest, ReportsAFailedLookUp) {
    for (const ServiceStatus status : {5, 0x403B000B}) {
        platform() = Platform{};
        service_says(answer(kept_proxy(), status));
        const auto [result, out, err] = configure();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, status == 5 ? "text of 0x00000005\n" : not_found_text);
        EXPECT_EQ(err, "");
        EXPECT_EQ(asked(), Asked{"2195/5"});
    }
}

TEST_F(HttpProxyTest, TakesTheServerAsTextInEveryForm) {
    struct Form {
        std::uint32_t kind;
        std::string server;
        std::uint32_t type;
    };
    for (const auto& [kind, server, type] : {
             Form{0x40000002, "192.0.2.7", 1},
             Form{0x40000004, "2001:db8::1", 2},
             Form{0x40000008, "p.example.net", 16},
             Form{8, "p.example.net", 16},
         }) {
        Command command;
        platform().answers.clear();
        service_says(answer(kept_proxy()));
        const auto [result, out, err] =
            run(callhome_http_proxy, command.text_of_kind(proxy_server, kind, server));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        HttpProxyRecord expected = unchanged();
        put(expected.server, server);
        expected.address_type = type;
        expect_sent(expected);
    }
}

TEST_F(HttpProxyTest, CutsAnOverlongServerToItsField) {
    for (const std::size_t length : {255U, 256U, 5000U}) {
        Command command;
        platform().answers.clear();
        service_says(answer(kept_proxy()));
        run(callhome_http_proxy, command.text_of_kind(proxy_server, 0x40000008, std::string(length, 's')));
        EXPECT_EQ(text(sent().server), std::string(255, 's'));
    }
}

TEST_F(HttpProxyTest, RefusesAServerOfAnotherForm) {
    for (const std::uint32_t kind : {0U, 2U, 4U, 16U, 0x40000001U, 0x40000010U}) {
        for (const bool no_form : {false, true}) {
            Command command;
            command.context()->no_form = no_form ? 1 : 0;
            platform() = Platform{};
            service_says(answer(kept_proxy()));
            const auto [result, out, err] =
                run(callhome_http_proxy,
                    command.text_of_kind(proxy_server, kind, "p").number<std::uint32_t>(proxy_port, 1));
            EXPECT_EQ(result, 1);
            EXPECT_EQ(out, "") << "later tokens are not looked at";
            EXPECT_EQ(err, "Invalid host address");
            EXPECT_EQ(asked(), Asked{"2195/5"});
        }
    }
}

TEST_F(HttpProxyTest, DoesNotAskTheValueTypeForTheForm) {
    EXPECT_EQ(run(callhome_http_proxy, command_.host_name(proxy_server, "p")).result, 1);
    EXPECT_EQ(asked(), Asked{"2195/5"});
}

TEST_F(HttpProxyTest, WarnsOfAPortThatIsNotTheExpectedOne) {
    for (const std::uint32_t port : {0U, 80U, 8079U, 8080U, 8081U}) {
        for (const bool no_form : {false, true}) {
            Command command;
            command.context()->no_form = no_form ? 1 : 0;
            platform().answers.clear();
            service_says(answer(kept_proxy()));
            const auto [result, out, err] = run(callhome_http_proxy, command.number(proxy_port, port));
            EXPECT_EQ(result, 0);
            EXPECT_EQ(out, port == 8080 ? "" : port_warning);
            EXPECT_EQ(err, "");
            HttpProxyRecord expected = unchanged();
            expected.port = port;
            expect_sent(expected);
        }
    }
}

TEST_F(HttpProxyTest, RemovesTheProxyByTheNoForm) {
    command_.no().text_of_kind(proxy_server, 8, "p");
    EXPECT_EQ(configure().result, 0);
    EXPECT_EQ(asked(), (Asked{"2195/5", "2195/4"}));
    HttpProxyRecord expected = unchanged();
    put(expected.server, "p");
    expect_sent(expected);
}

TEST_F(HttpProxyTest, SwitchesTheProxyOnAndOffByAnUpdate) {
    for (const bool no_form : {false, true}) {
        for (const int before : {0, 1}) {
            Command command;
            command.context()->no_form = no_form ? 1 : 0;
            platform() = Platform{};
            HttpProxyRecord proxy = kept_proxy();
            proxy.enabled = static_cast<std::uint8_t>(before);
            service_says(answer(proxy));
            const auto [result, out, err] = run(callhome_http_proxy, command.keyword(proxy_enable));
            EXPECT_EQ(result, 0);
            EXPECT_EQ(out + err, "");
            if (no_form && before == 0) {
                EXPECT_EQ(asked(), Asked{"2195/5"}) << "there is nothing to switch off";
                continue;
            }
            EXPECT_EQ(asked(), (Asked{"2195/5", "2195/3"}));
            HttpProxyRecord expected = unchanged();
            expected.enabled = no_form ? 0 : 1;
            expect_sent(expected);
        }
    }
}

TEST_F(HttpProxyTest, TakesAllTokensOfOneCommand) {
    command_.text_of_kind(proxy_server, 0x40000002, "192.0.2.7")
        .number<std::uint32_t>(proxy_port, 3128)
        .null_token()
        .keyword(97)
        .keyword(proxy_enable);
    EXPECT_EQ(configure().out, port_warning);
    HttpProxyRecord expected = unchanged();
    put(expected.server, "192.0.2.7");
    expected.address_type = 1;
    expected.port = 3128;
    expect_sent(expected);
}

TEST_F(HttpProxyTest, PassesOverMissingValues) {
    command_.text_of_kind(proxy_server, 8, "p").keyword(proxy_port);
    command_.context()->tokens[1]->value = nullptr;
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(unchanged());
}

TEST_F(HttpProxyTest, ReportsARefusedChange) {
    for (const bool no_form : {false, true}) {
        command_.context()->no_form = no_form ? 1 : 0;
        platform().answers.clear();
        service_says(answer(kept_proxy()));
        service_refuses(0x403B0010);
        const auto [result, out, err] = configure();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "text of 0x403B0010\n");
        EXPECT_EQ(err, "");
    }
}

TEST_F(HttpProxyTest, ChangesNothingWhenTheAnswerIsIncomplete) {
    for (std::size_t length = 0; length < sizeof(HttpProxyRecord); ++length) {
        platform() = Platform{};
        service_says(cut(answer(kept_proxy()), length));
        const auto [result, out, err] = configure();
        ASSERT_EQ(result, 1);
        ASSERT_EQ(out, "");
        ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 359 bytes); nothing was changed\n");
        ASSERT_EQ(asked(), Asked{"2195/5"});
    }
}

class HttpVrfTest : public LibraryTest {
 protected:
    static void expect_sent(std::string_view name) {
        HttpVrfRecord expected{};
        put(expected.vrf_name, name);
        EXPECT_EQ(platform().exchanges.back().length, 257U);
        EXPECT_TRUE(platform().exchanges.back().sent == in_transport_order(expected)) << name;
        EXPECT_FALSE(platform().exchanges.back().wants_reply);
    }

    Command command_;
};

TEST_F(HttpVrfTest, SetsTheVrf) {
    const auto [result, out, err] = run(callhome_http_vrf, command_.text(vrf_name, "red"));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(asked(), Asked{"2194/3"});
    expect_sent("red");
    EXPECT_EQ(cmd_type, 2U);
}

TEST_F(HttpVrfTest, RemovesTheVrfByTheNoForm) {
    run(callhome_http_vrf, command_.no().text(vrf_name, "red"));
    EXPECT_EQ(asked(), Asked{"2194/4"});
    expect_sent("red");
    Command nameless;
    run(callhome_http_vrf, nameless.no());
    expect_sent("");
}

TEST_F(HttpVrfTest, TakesTheLastNameAndNothingElse) {
    command_.text(vrf_name, "a rather long name")
        .text(vrf_name, "b")
        .keyword(vrf_name)
        .text(99, "c")
        .null_token();
    run(callhome_http_vrf, command_);
    expect_sent("b");
}

TEST_F(HttpVrfTest, CutsAnOverlongNameToItsField) {
    run(callhome_http_vrf, command_.text(vrf_name, std::string(5000, 'v')));
    expect_sent(std::string(255, 'v'));
}

TEST_F(HttpVrfTest, ReportsARefusal) {
    service_refuses(0x403B0001);
    const auto [result, out, err] = run(callhome_http_vrf, command_);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B0001\n");
    EXPECT_EQ(err, "");
}

}  // namespace
}  // namespace callhome::test
