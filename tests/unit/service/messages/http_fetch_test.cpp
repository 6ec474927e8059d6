#include "delivery/http_fetch.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include "row_name.h"
#include "scripted_server.h"

namespace callhome::service {
namespace {

using tests::HttpServer;

constexpr std::chrono::seconds long_enough{20};

Fetched fetch_from(const HttpServer& server, std::size_t most_bytes = 100,
                   std::chrono::milliseconds within = long_enough) {
    const std::stop_source source;
    const std::stop_token stop = source.get_token();
    Fetcher fetcher({}, {}, stop);
    return fetcher.fetch(fmt::format("http://127.0.0.1:{}/file", server.port()), most_bytes, within);
}

TEST(HttpFetch, TakesAFileThatIsAsLongAsItMayBe) {
    const HttpServer server("HTTP/1.1 200 OK");
    const Fetched fetched = fetch_from(server, 5);
    EXPECT_EQ(fetched.verdict, FetchVerdict::fetched);
    EXPECT_EQ(fetched.body, "hello");
    EXPECT_EQ(fetched.reason, "");
}

TEST(HttpFetch, TakesNothingOfALongerOne) {
    const HttpServer server("HTTP/1.1 200 OK");
    const Fetched fetched = fetch_from(server, 4);
    EXPECT_EQ(fetched.verdict, FetchVerdict::too_long);
    EXPECT_EQ(fetched.body, "");
    EXPECT_EQ(fetched.reason, "the file is longer than 4 bytes");
}

TEST(HttpFetch, HowLongARefusalIsMakesNoDifference) {
    const HttpServer server("HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/");
    const Fetched fetched = fetch_from(server, 4);
    EXPECT_EQ(fetched.verdict, FetchVerdict::refused);
    EXPECT_EQ(fetched.reason, "HTTP status 302: the address has moved; configure the new one");
}

TEST(HttpFetch, OneAfterTheOtherEachHasItsOwnVerdict) {
    const HttpServer good("HTTP/1.1 200 OK");
    const HttpServer bad("HTTP/1.1 500 Broken");
    const std::stop_source source;
    const std::stop_token stop = source.get_token();
    Fetcher fetcher({}, {}, stop);
    const auto fetch = [&](const HttpServer& server) {
        return fetcher.fetch(fmt::format("http://127.0.0.1:{}/", server.port()), 100, long_enough);
    };
    EXPECT_EQ(fetch(bad).verdict, FetchVerdict::refused);
    EXPECT_EQ(fetch(good).body, "hello");
    EXPECT_EQ(fetch(bad).body, "");
}

TEST(HttpFetch, WithoutTimeLeftNobodyIsAsked) {
    const HttpServer server("HTTP/1.1 200 OK");
    EXPECT_EQ(fetch_from(server, 100, std::chrono::milliseconds(0)).verdict, FetchVerdict::timed_out);
    EXPECT_EQ(server.connections(), 0);
}

TEST(HttpFetch, EndsWithTheService) {
    const HttpServer server(tests::stay_silent);
    std::stop_source source;
    const std::stop_token stop = source.get_token();
    source.request_stop();
    Fetcher fetcher({}, {}, stop);
    const auto url = fmt::format("http://127.0.0.1:{}/", server.port());
    EXPECT_EQ(fetcher.fetch(url, 100, long_enough).verdict, FetchVerdict::stopped);
}

class NoHttpAddress : public testing::TestWithParam<const char*> {};

TEST_P(NoHttpAddress, IsNotAsked) {
    const std::stop_source source;
    const std::stop_token stop = source.get_token();
    Fetcher fetcher({}, {}, stop);
    const Fetched fetched = fetcher.fetch(GetParam(), 100, long_enough);
    EXPECT_EQ(fetched.verdict, FetchVerdict::not_reached);
    EXPECT_EQ(fetched.reason, "this is not an HTTP or HTTPS address");
}

INSTANTIATE_TEST_SUITE_P(Table, NoHttpAddress,
                         testing::Values("", "file:///etc/passwd", "ftp://a.example/", "/etc/passwd",
                                         "a.example/ds", "HTTPS//"));

struct StatusRow {
    const char* line;
    FetchVerdict verdict;
};

class FetchStatus : public testing::TestWithParam<StatusRow> {};

TEST_P(FetchStatus, DecidesWhatItIs) {
    const HttpServer server(GetParam().line);
    EXPECT_EQ(fetch_from(server).verdict, GetParam().verdict);
}

INSTANTIATE_TEST_SUITE_P(Table, FetchStatus,
                         testing::Values(StatusRow{"HTTP/1.1 200 OK", FetchVerdict::fetched},
                                         StatusRow{"HTTP/1.1 203 From elsewhere", FetchVerdict::fetched},
                                         StatusRow{"HTTP/1.1 301 Moved", FetchVerdict::refused},
                                         StatusRow{"HTTP/1.1 401 Who?", FetchVerdict::refused},
                                         StatusRow{"HTTP/1.1 404 Not here", FetchVerdict::not_there},
                                         StatusRow{"HTTP/1.1 410 Gone", FetchVerdict::not_there},
                                         StatusRow{"HTTP/1.1 500 Broken", FetchVerdict::refused},
                                         StatusRow{"no HTTP at all", FetchVerdict::not_reached}),
                         [](const auto& row) { return tests::row_name(row.param.line); });

}  // namespace
}  // namespace callhome::service
