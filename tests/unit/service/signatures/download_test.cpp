#include "signatures/download.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

namespace callhome::service {
namespace {

using protocol::ResultCode;

// Web servers, as a table of files. What is not in it is not there.
class Servers {
 public:
    void put(const std::string& url, const std::string& body) {
        answers_[url] = {FetchVerdict::fetched, body, ""};
    }
    void refuse(const std::string& url, FetchVerdict verdict, const std::string& reason) {
        answers_[url] = {verdict, "", reason};
    }
    FetchFile fetch() {
        return [this](const std::string& url, std::size_t most_bytes) {
            asked.push_back(url);
            limits.push_back(most_bytes);
            const auto found = answers_.find(url);
            return found == answers_.end() ? Fetched{FetchVerdict::not_there, "", "HTTP status 404"}
                                           : found->second;
        };
    }

    std::vector<std::string> asked;
    std::vector<std::size_t> limits;

 private:
    std::map<std::string, Fetched> answers_;
};

DownloadJob one(std::uint32_t id, std::vector<std::string> urls = {"https://a.example/ds"}) {
    DownloadJob job;
    job.id = id;
    job.urls = std::move(urls);
    return job;
}

DownloadJob all() {
    DownloadJob job = one(0);
    job.kind = DownloadKind::all;
    return job;
}

constexpr const char* index_of_three =
    "<signatureIndex xmlns=\"urn:callhome:signature-index:1\"><signature id=\"1\" revision=\"1\"/>"
    "<signature id=\"2\" revision=\"5\"/><signature id=\"3\" revision=\"2\"/></signatureIndex>";

TEST(Download, AsksForTheFileAndThenForItsSignature) {
    Servers servers;
    servers.put("https://a.example/ds/7.xml", "seven");
    servers.put("https://a.example/ds/7.xml.sig", "signed");
    const DownloadResult result = download_files(one(7), servers.fetch());
    EXPECT_FALSE(result.refusal);
    ASSERT_EQ(result.files.size(), 1U);
    EXPECT_EQ(result.files[0].id, 7U);
    EXPECT_EQ(result.files[0].xml, "seven");
    ASSERT_TRUE(result.files[0].signature);
    EXPECT_EQ(result.files[0].signature->method, SigningMethod::ed25519);
    EXPECT_EQ(result.files[0].signature->bytes, "signed");
    EXPECT_EQ(servers.limits, (std::vector<std::size_t>{1024UL * 1024UL, 65'536}));
}

TEST(Download, TakesTheOtherKindOfSignatureWhereThereIsThatOne) {
    Servers servers;
    servers.put("https://a.example/ds/7.xml", "seven");
    servers.put("https://a.example/ds/7.xml.p7s", "signed");
    const DownloadResult result = download_files(one(7), servers.fetch());
    EXPECT_EQ(result.files[0].signature->method, SigningMethod::cms);
}

TEST(Download, AFileWithoutASignatureIsHandedOnWithoutOne) {
    Servers servers;
    servers.put("https://a.example/ds/7.xml", "seven");
    const DownloadResult result = download_files(one(7), servers.fetch());
    EXPECT_FALSE(result.files[0].refusal);
    EXPECT_FALSE(result.files[0].signature);
}

TEST(Download, ASignatureThatDoesNotComeIsNotTakenForNone) {
    Servers servers;
    servers.put("https://a.example/ds/7.xml", "seven");
    servers.refuse("https://a.example/ds/7.xml.sig", FetchVerdict::refused, "HTTP status 500");
    const DownloadResult result = download_files(one(7), servers.fetch());
    ASSERT_TRUE(result.files[0].refusal);
    EXPECT_EQ(result.files[0].refusal->why, "https://a.example/ds/7.xml.sig: HTTP status 500");
    EXPECT_EQ(result.files[0].xml, "");
}

TEST(Download, SlashesAtTheEndOfAnAddressMakeNoDifference) {
    Servers servers;
    download_files(one(7, {"https://a.example/ds//"}), servers.fetch());
    EXPECT_EQ(servers.asked.front(), "https://a.example/ds/7.xml");
}

TEST(Download, TheNextAddressIsAskedWhenOneHasNothing) {
    Servers servers;
    servers.refuse("http://dead.example/7.xml", FetchVerdict::not_reached, "nobody answers");
    servers.put("http://c.example/7.xml", "seven");
    servers.put("http://c.example/7.xml.sig", "signed");
    const auto result = download_files(
        one(7, {"http://dead.example", "http://b.example", "http://c.example"}), servers.fetch());
    EXPECT_EQ(result.files[0].xml, "seven");
    EXPECT_EQ(servers.asked,
              (std::vector<std::string>{"http://dead.example/7.xml", "http://b.example/7.xml",
                                        "http://c.example/7.xml", "http://c.example/7.xml.sig"}));
}

TEST(Download, OfAllFetchesWhatIsNotHereInTheSameRevision) {
    Servers servers;
    servers.put("https://a.example/ds/index.xml", index_of_three);
    servers.put("https://a.example/ds/2.xml", "two");
    servers.put("https://a.example/ds/3.xml", "three");
    DownloadJob job = all();
    job.present = {{1, "1"}, {2, "4"}};
    const DownloadResult result = download_files(job, servers.fetch());
    ASSERT_EQ(result.files.size(), 2U);
    EXPECT_EQ(result.files[0].id, 2U);
    EXPECT_EQ(result.files[1].xml, "three");
}

TEST(Download, OfAllOneThatDoesNotComeDoesNotKeepTheOthersAway) {
    Servers servers;
    servers.put("https://a.example/ds/index.xml", index_of_three);
    servers.put("https://a.example/ds/1.xml", "one");
    servers.put("https://a.example/ds/3.xml", "three");
    const DownloadResult result = download_files(all(), servers.fetch());
    ASSERT_EQ(result.files.size(), 3U);
    EXPECT_FALSE(result.files[0].refusal);
    EXPECT_EQ(result.files[1].refusal->code, ResultCode::signature_missing);
    EXPECT_FALSE(result.files[2].refusal);
}

TEST(Download, OfAllNoMoreIsHeldThanOneServerMayCost) {
    Servers servers;
    std::string entries;
    for (int id = 1; id <= 40; ++id) {
        entries += fmt::format("<signature id=\"{}\" revision=\"1\"/>", id);
        servers.put(fmt::format("https://a.example/ds/{}.xml", id), std::string(1024UL * 1024UL, 'x'));
    }
    servers.put("https://a.example/ds/index.xml",
                fmt::format("<signatureIndex xmlns=\"urn:callhome:signature-index:1\">{}</signatureIndex>",
                            entries));
    const DownloadResult result = download_files(all(), servers.fetch());
    ASSERT_EQ(result.files.size(), 40U);
    EXPECT_FALSE(result.files[31].refusal);
    ASSERT_TRUE(result.files[32].refusal);
    EXPECT_EQ(result.files[32].refusal->code, ResultCode::over_length);
}

TEST(Download, WithoutAnIndexNothingIsFetched) {
    Servers servers;
    const DownloadResult missing = download_files(all(), servers.fetch());
    EXPECT_EQ(missing.refusal->code, ResultCode::http_answer_invalid);
    servers.put("https://a.example/ds/index.xml", "<html>Welcome!</html>");
    const DownloadResult unreadable = download_files(all(), servers.fetch());
    EXPECT_EQ(unreadable.refusal->code, ResultCode::http_answer_unreadable);
    EXPECT_TRUE(unreadable.files.empty());
    EXPECT_EQ(servers.asked.size(), 2U);
}

struct RefusalRow {
    FetchVerdict verdict;
    ResultCode code;
};

class RefusedDownload : public testing::TestWithParam<RefusalRow> {};

TEST_P(RefusedDownload, TellsWhatItWas) {
    Servers servers;
    servers.refuse("https://a.example/ds/7.xml", GetParam().verdict, "the reason");
    const DownloadResult result = download_files(one(7), servers.fetch());
    EXPECT_EQ(result.files[0].refusal->code, GetParam().code);
    EXPECT_EQ(result.files[0].refusal->why, "https://a.example/ds/7.xml: the reason");
}

INSTANTIATE_TEST_SUITE_P(Table, RefusedDownload,
                         testing::Values(RefusalRow{FetchVerdict::not_there, ResultCode::signature_missing},
                                         RefusalRow{FetchVerdict::refused, ResultCode::http_answer_invalid},
                                         RefusalRow{FetchVerdict::too_long, ResultCode::over_length},
                                         RefusalRow{FetchVerdict::not_reached,
                                                    ResultCode::message_not_sent},
                                         RefusalRow{FetchVerdict::timed_out, ResultCode::timed_out},
                                         RefusalRow{FetchVerdict::stopped, ResultCode::failed}));

}  // namespace
}  // namespace callhome::service
