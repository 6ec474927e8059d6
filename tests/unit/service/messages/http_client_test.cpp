#include "delivery/http_client.h"

#include <gtest/gtest.h>

#include "row_name.h"
#include "scripted_server.h"

namespace callhome::service {
namespace {

using tests::HttpServer;

Outcome post(const std::string& url, const std::string& content = "<a/>") {
    TransferLimits limits;
    limits.total = std::chrono::seconds(1);
    DeliveryJob job;
    job.carrier = Carrier::http;
    job.receiver = url;
    job.content_type = "application/xml; charset=utf-8";
    job.content = std::make_shared<const std::string>(content);
    return attempt(job, limits, {});
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

}  // namespace
}  // namespace callhome::service
