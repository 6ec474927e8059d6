// Downloads from real servers, on the thread that makes them.
#include "signatures/downloader.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include "scripted_server.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;
using tests::HttpServer;

DownloadJob job_for(std::uint16_t port, DownloadKind kind = DownloadKind::one) {
    DownloadJob job;
    job.kind = kind;
    job.id = 7;
    job.urls = {fmt::format("http://127.0.0.1:{}/ds", port)};
    return job;
}

class DownloaderTest : public testing::Test {
 protected:
    Downloader::Done keep_result() {
        return [this](DownloadResult result) { results.push_back(std::move(result)); };
    }
    void wait_for_results(std::size_t count) {
        while (results.size() < count) {
            io.restart();
            const auto work = asio::make_work_guard(io);
            ASSERT_EQ(io.run_one_for(std::chrono::minutes(1)), 1U) << "no result has come";
        }
    }

    asio::io_context io{1};
    std::vector<DownloadResult> results;
};

TEST_F(DownloaderTest, TellsWhatHasComeOnTheThreadOfTheService) {
    const HttpServer server("HTTP/1.1 200 OK");
    Downloader downloader(io, {});
    EXPECT_TRUE(downloader.submit(job_for(server.port()), keep_result()));
    EXPECT_EQ(downloader.waiting(DownloadKind::one), 1U);
    EXPECT_EQ(downloader.waiting(DownloadKind::all), 0U);
    wait_for_results(1);
    EXPECT_EQ(downloader.waiting(DownloadKind::one), 0U);
    ASSERT_EQ(results[0].files.size(), 1U);
    EXPECT_EQ(results[0].files[0].xml, "hello");
    EXPECT_EQ(results[0].files[0].signature->bytes, "hello");
    ASSERT_EQ(server.requests().size(), 2U);
    EXPECT_TRUE(server.requests()[0].starts_with("GET /ds/7.xml HTTP/1.1\r\n"));
    EXPECT_TRUE(server.requests()[1].starts_with("GET /ds/7.xml.sig HTTP/1.1\r\n"));
}

TEST_F(DownloaderTest, AnotherPlaceIsNotGoneTo) {
    const HttpServer server("HTTP/1.1 302 Found\r\nLocation: file:///etc/passwd");
    Downloader downloader(io, {});
    downloader.submit(job_for(server.port()), keep_result());
    wait_for_results(1);
    EXPECT_EQ(results[0].files[0].refusal->code, ResultCode::http_answer_invalid);
    EXPECT_NE(results[0].files[0].refusal->why.find("HTTP status 302: the address has moved"),
              std::string::npos);
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(DownloaderTest, AServerThatFallsSilentCostsItsTimeAndNoMore) {
    const HttpServer server(tests::stay_silent);
    Downloader downloader(io, {}, std::chrono::milliseconds(50));
    downloader.submit(job_for(server.port()), keep_result());
    wait_for_results(1);
    EXPECT_EQ(results[0].files[0].refusal->code, ResultCode::timed_out);
}

TEST_F(DownloaderTest, NobodyAtTheOtherEndIsToldSo) {
    const tests::ClosedPort closed;
    Downloader downloader(io, {});
    downloader.submit(job_for(closed.number()), keep_result());
    wait_for_results(1);
    EXPECT_EQ(results[0].files[0].refusal->code, ResultCode::message_not_sent);
}

TEST_F(DownloaderTest, SomeMayWaitButNotMany) {
    const HttpServer server(tests::stay_silent);
    Downloader downloader(io, {});
    for (std::size_t i = 0; i < Downloader::most_waiting; ++i) {
        EXPECT_TRUE(downloader.submit(job_for(server.port(), DownloadKind::all), keep_result()));
    }
    EXPECT_FALSE(downloader.submit(job_for(server.port()), keep_result()));
    EXPECT_EQ(downloader.waiting(DownloadKind::all), Downloader::most_waiting);
}

TEST_F(DownloaderTest, TheEndOfTheServiceDoesNotWaitForAServer) {
    const HttpServer server(tests::stay_silent);
    { Downloader(io, {}).submit(job_for(server.port()), keep_result()); }
    io.run();
    EXPECT_TRUE(results.empty());
}

TEST_F(DownloaderTest, AProxyThatIsNoHostIsRefusedBeforeAnybodyIsAsked) {
    const HttpServer server("HTTP/1.1 200 OK");
    Downloader downloader(io, {});
    DownloadJob job = job_for(server.port());
    job.route.proxy = "no host@all";
    job.route.proxy_port = 3128;
    downloader.submit(job, keep_result());
    wait_for_results(1);
    EXPECT_EQ(results[0].files[0].refusal->code, ResultCode::message_not_sent);
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(DownloaderTest, GoesThroughTheProxy) {
    const HttpServer proxy("HTTP/1.1 200 OK");
    Downloader downloader(io, {});
    DownloadJob job = job_for(1);
    job.urls = {"http://signatures.example/ds"};
    job.route.proxy = "127.0.0.1";
    job.route.proxy_port = proxy.port();
    downloader.submit(job, keep_result());
    wait_for_results(1);
    EXPECT_EQ(results[0].files[0].xml, "hello");
    EXPECT_TRUE(proxy.requests()[0].starts_with("GET http://signatures.example/ds/7.xml HTTP/1.1\r\n"));
}

}  // namespace
}  // namespace callhome::service
