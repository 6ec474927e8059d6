#include "delivery/http_client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "delivery/http_route.h"
#include "inventory/interfaces.h"
#include "lone_attempt.h"
#include "row_name.h"
#include "scripted_server.h"

namespace callhome::service {
namespace {

using tests::HttpServer;

Outcome post_on(const HttpRoute& route, const std::string& url, const std::string& content = "<a/>") {
    TransferLimits limits;
    limits.total = std::chrono::seconds(1);
    DeliveryJob job;
    job.carrier = Carrier::http;
    job.receiver = url;
    job.http = route;
    job.content_type = "application/xml; charset=utf-8";
    job.content = std::make_shared<const std::string>(content);
    return tests::attempt_alone(job, limits);
}

Outcome post(const std::string& url, const std::string& content = "<a/>") {
    return post_on({}, url, content);
}

HttpRoute through(const tests::ScriptedServer& proxy) {
    return {.proxy = "127.0.0.1", .proxy_port = proxy.port(), .vrf_name = ""};
}

std::string name_of(const tests::ScriptedServer& proxy) {
    return "the proxy 127.0.0.1:" + std::to_string(proxy.port());
}

std::string url_of(const HttpServer& server) {
    return "http://127.0.0.1:" + std::to_string(server.port()) + "/callhome";
}

TEST(Http, PostsTheContentWithItsType) {
    const HttpServer server("HTTP/1.1 200 OK");
    const std::string content(100'000, 'x');
    EXPECT_EQ(post(url_of(server), content).verdict, Verdict::delivered);
    ASSERT_EQ(server.requests().size(), 1U);
    const std::string request = server.requests()[0];
    EXPECT_TRUE(request.starts_with("POST /callhome HTTP/1.1\r\n"));
    EXPECT_NE(request.find("\r\nContent-Type: application/xml; charset=utf-8\r\n"), std::string::npos);
    EXPECT_TRUE(request.ends_with("\r\n\r\n" + content));
}

struct Answer {
    std::string line;
    Verdict verdict;
};

std::string name_of_row(const testing::TestParamInfo<Answer>& info) {
    return tests::row_name(info.param.line);
}

class HttpAnswer : public testing::TestWithParam<Answer> {};

TEST_P(HttpAnswer, DecidesWhatBecomesOfTheMessage) {
    const HttpServer server(GetParam().line);
    const Outcome outcome = post(url_of(server));
    EXPECT_EQ(outcome.verdict, GetParam().verdict) << GetParam().line << " -> " << outcome.reason;
    EXPECT_EQ(outcome.reason.empty(), outcome.verdict == Verdict::delivered);
    EXPECT_EQ(server.requests().size(), 1U);  // a redirection is not followed
}

INSTANTIATE_TEST_SUITE_P(Statuses, HttpAnswer,
                         testing::Values(Answer{"HTTP/1.1 200 OK", Verdict::delivered},
                                         Answer{"HTTP/1.1 202 Accepted", Verdict::delivered},
                                         Answer{"HTTP/1.1 302 Found\r\nLocation: file:///etc/passwd",
                                                Verdict::refused},
                                         Answer{"HTTP/1.1 400 Bad Request", Verdict::refused},
                                         Answer{"HTTP/1.1 404 Not Found", Verdict::refused},
                                         Answer{"HTTP/1.1 408 Request Timeout", Verdict::postponed},
                                         Answer{"HTTP/1.1 429 Too Many Requests", Verdict::postponed},
                                         Answer{"HTTP/1.1 500 Internal Server Error", Verdict::postponed},
                                         Answer{"HTTP/1.1 503 Service Unavailable", Verdict::postponed},
                                         Answer{"nonsense", Verdict::postponed},
                                         Answer{tests::drop_connection, Verdict::postponed},
                                         Answer{tests::stay_silent, Verdict::postponed}),
                         name_of_row);

TEST(Http, PostponesWhenNobodyListens) {
    const tests::ClosedPort port;
    EXPECT_EQ(post("http://127.0.0.1:" + std::to_string(port.number())).verdict, Verdict::postponed);
}

TEST(Http, RefusesAddressesOfOtherProtocols) {
    for (const char* url : {"file:///etc/passwd", "ftp://127.0.0.1/", "gopher://127.0.0.1/", ""}) {
        EXPECT_EQ(post(url).verdict, Verdict::refused) << url;
    }
}

// What the environment says, for one test.
class Environment {
 public:
    Environment(const char* name, const std::string& value) : name_(name) {
        ::setenv(name, value.c_str(), 1);
    }
    ~Environment() { ::unsetenv(name_); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

 private:
    const char* name_;
};

TEST(HttpProxy, IsAskedForTheWholeAddressAndTold) {
    const HttpServer proxy("HTTP/1.1 200 OK");
    const Outcome outcome = post_on(through(proxy), "http://collector.example.net/in?site=3");
    EXPECT_EQ(outcome.verdict, Verdict::delivered);
    EXPECT_EQ(outcome.through, name_of(proxy));
    ASSERT_EQ(proxy.requests().size(), 1U);
    EXPECT_TRUE(
        proxy.requests()[0].starts_with("POST http://collector.example.net/in?site=3 HTTP/1.1\r\n"));
    EXPECT_TRUE(proxy.requests()[0].ends_with("\r\n\r\n<a/>"));
}

TEST(HttpProxy, IsAskedForTheWayToAnHttpsServerAndSeesNothingOfTheMessage) {
    const HttpServer proxy("HTTP/1.1 200 OK");
    EXPECT_EQ(post_on(through(proxy), "https://collector.example.net/in").verdict, Verdict::postponed);
    ASSERT_EQ(proxy.requests().size(), 1U);
    EXPECT_TRUE(proxy.requests()[0].starts_with("CONNECT collector.example.net:443 HTTP/1.1\r\n"));
    EXPECT_EQ(proxy.requests()[0].find("Content-Type"), std::string::npos);
}

TEST(HttpProxy, ThatIsNotConfiguredIsNotTakenFromTheEnvironment) {
    const tests::ClosedPort port;
    const Environment environment("http_proxy", "http://127.0.0.1:" + std::to_string(port.number()));
    const HttpServer server("HTTP/1.1 200 OK");
    EXPECT_EQ(post(url_of(server)).verdict, Verdict::delivered);
    EXPECT_TRUE(server.requests().at(0).starts_with("POST /callhome "));
}

TEST(HttpProxy, IsAskedWhateverTheEnvironmentExcepts) {
    const Environment environment("no_proxy", "*");
    const HttpServer proxy("HTTP/1.1 200 OK");
    EXPECT_EQ(post_on(through(proxy), "http://127.0.0.1/in").verdict, Verdict::delivered);
    EXPECT_EQ(proxy.requests().size(), 1U);
}

struct Refusal {
    const char* url;
    std::string answer;
    Verdict verdict;
    std::string reason;
};

class HttpProxyRefusal : public testing::TestWithParam<Refusal> {};

TEST_P(HttpProxyRefusal, IsToldAsTheProxysAnswer) {
    const Refusal& row = GetParam();
    const HttpServer proxy(row.answer);
    const Outcome outcome = post_on(through(proxy), row.url);
    EXPECT_EQ(outcome.verdict, row.verdict);
    EXPECT_EQ(failure_of(outcome), name_of(proxy) + ": " + row.reason);
}

constexpr const char* plain = "http://collector.example.net/";
constexpr const char* encrypted = "https://collector.example.net/";

INSTANTIATE_TEST_SUITE_P(
    Answers, HttpProxyRefusal,
    testing::Values(Refusal{plain, "HTTP/1.1 407 Proxy Authentication Required", Verdict::postponed,
                            "HTTP status 407: a login is wanted there"},
                    Refusal{plain, "HTTP/1.1 403 Filtered", Verdict::refused, "HTTP status 403"},
                    Refusal{plain, "HTTP/1.1 502 Bad Gateway", Verdict::postponed, "HTTP status 502"},
                    Refusal{encrypted, "HTTP/1.1 407 Proxy Authentication Required", Verdict::postponed,
                            "HTTP status 407: a login is wanted there"},
                    Refusal{encrypted, "HTTP/1.1 403 Filtered", Verdict::postponed, "HTTP status 403"},
                    Refusal{encrypted, "HTTP/1.1 404 Not Found", Verdict::postponed, "HTTP status 404"},
                    Refusal{encrypted, "HTTP/1.1 500 Internal Server Error", Verdict::postponed,
                            "HTTP status 500"}),
    [](const testing::TestParamInfo<Refusal>& row) {
        return tests::row_name(std::string(row.param.url == plain ? "Http" : "Https") +
                               row.param.answer.substr(sizeof "HTTP/1.1"));
    });

class HttpProxySilence : public testing::TestWithParam<std::string> {};

TEST_P(HttpProxySilence, PostponesTheMessageAndNamesTheProxy) {
    for (const char* url : {plain, encrypted}) {
        const HttpServer proxy(GetParam());
        const Outcome outcome = post_on(through(proxy), url);
        EXPECT_EQ(outcome.verdict, Verdict::postponed) << url;
        EXPECT_EQ(outcome.through, name_of(proxy)) << url;
        EXPECT_FALSE(outcome.reason.empty()) << url;
    }
}

INSTANTIATE_TEST_SUITE_P(Answers, HttpProxySilence,
                         testing::Values(tests::drop_connection, tests::stay_silent, "nonsense"),
                         [](const testing::TestParamInfo<std::string>& row) {
                             return tests::row_name("Proxy" + row.param);
                         });

TEST(HttpProxy, OnWhosePortNobodyListensPostpones) {
    const tests::ClosedPort port;
    const HttpServer server("HTTP/1.1 200 OK");
    const HttpRoute route{.proxy = "127.0.0.1", .proxy_port = port.number(), .vrf_name = ""};
    const Outcome outcome = post_on(route, url_of(server));
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(outcome.through, "the proxy 127.0.0.1:" + std::to_string(port.number()));
    EXPECT_TRUE(server.requests().empty());
}

TEST(HttpProxy, MayBeAnIpv6Address) {
    const tests::ClosedPort port;
    const HttpRoute route{.proxy = "::1", .proxy_port = port.number(), .vrf_name = ""};
    const Outcome outcome = post_on(route, plain);
    EXPECT_EQ(outcome.through, "the proxy [::1]:" + std::to_string(port.number()));
    EXPECT_NE(outcome.reason.find("::1 port " + std::to_string(port.number())), std::string::npos)
        << outcome.reason;
}

TEST(HttpProxy, ThatIsNoHostIsNotAsked) {
    const HttpServer proxy("HTTP/1.1 200 OK");
    for (const char* host :
         {"127.0.0.1/x", "user@127.0.0.1", "http://127.0.0.1", "a b", "127.0.0.1\r\nX: y"}) {
        const Outcome outcome = post_on({host, proxy.port(), ""}, plain);
        EXPECT_EQ(outcome.verdict, Verdict::postponed) << host;
        EXPECT_EQ(outcome.reason, "what is configured as HTTP proxy is not the name or address of a host");
    }
    EXPECT_EQ(post_on({"127.0.0.1", 65'536, ""}, plain).verdict, Verdict::postponed);
    EXPECT_TRUE(proxy.requests().empty());
}

TEST(HttpProxy, DoesNotMakeAnAddressOfAnotherProtocolGood) {
    const HttpServer proxy("HTTP/1.1 200 OK");
    EXPECT_EQ(post_on(through(proxy), "ftp://127.0.0.1/").verdict, Verdict::refused);
    EXPECT_TRUE(proxy.requests().empty());
}

TEST(HttpVrf, IsTheDeviceThroughWhichTheMessageLeaves) {
    const HttpServer server("HTTP/1.1 200 OK");
    EXPECT_EQ(post_on({"", 0, "lo"}, url_of(server)).verdict, Verdict::delivered);
    EXPECT_EQ(post_on({"", 0, "default"}, url_of(server)).verdict, Verdict::delivered);
}

TEST(HttpVrf, OfAnotherDeviceDoesNotLeadToTheLoopback) {
    const auto interfaces = read_interfaces();
    const auto other =
        std::ranges::find_if(interfaces, [](const NetworkInterface& one) { return one.name != "lo"; });
    if (other == interfaces.end()) {
        GTEST_SKIP() << "this machine has no other device";
    }
    const HttpServer server("HTTP/1.1 200 OK");
    EXPECT_EQ(post_on({"", 0, other->name}, url_of(server)).verdict, Verdict::postponed);
    EXPECT_EQ(post_on({"127.0.0.1", server.port(), other->name}, plain).verdict, Verdict::postponed);
    EXPECT_TRUE(server.requests().empty());
}

TEST(HttpVrf, ThatDoesNotExistIsTold) {
    const HttpServer server("HTTP/1.1 200 OK");
    const Outcome outcome = post_on({"", 0, "no-such-vrf"}, url_of(server));
    EXPECT_EQ(outcome.verdict, Verdict::postponed);
    EXPECT_EQ(outcome.reason, "the VRF no-such-vrf does not exist");
    EXPECT_TRUE(server.requests().empty());
}

TEST(HttpRoutes, LeadThroughTheProxyOnlyWhenItIsEnabled) {
    Configuration configuration;
    EXPECT_EQ(http_route(configuration).proxy, "");
    configuration.http.proxy = {"proxy.example.net", {}, 3128, false};
    configuration.http.vrf_name = "management";
    EXPECT_EQ(http_route(configuration).proxy, "");
    EXPECT_EQ(http_route(configuration).vrf_name, "management");
    configuration.http.proxy.enabled = true;
    EXPECT_EQ(http_route(configuration).proxy, "proxy.example.net");
    EXPECT_EQ(http_route(configuration).proxy_port, 3128U);
    configuration.http.proxy.port = 0;
    EXPECT_EQ(http_route(configuration).proxy_port, 8080U);
    configuration.http.proxy.server.clear();
    EXPECT_EQ(http_route(configuration).proxy, "");
}

}  // namespace
}  // namespace callhome::service
