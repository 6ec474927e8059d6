// Signatures from the web servers of a destination profile: URL/ID.xml, with its detached signature beside
// it, and URL/index.xml for all of them.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "delivery/fetched.h"
#include "delivery/route.h"
#include "signatures/catalogue.h"
#include "signatures/signing.h"

namespace callhome::service {

struct DownloadJob {
    DownloadKind kind = DownloadKind::one;
    std::uint32_t id = 0;           // DownloadKind::one
    std::vector<std::string> urls;  // tried in this order until one has what is wanted
    HttpRoute route;
    std::map<std::uint32_t, std::string> present;  // revisions that need not be fetched
};

struct DownloadedFile {
    std::uint32_t id = 0;
    std::string xml;
    std::optional<DetachedSignature> signature;
    std::optional<Refusal> refusal;  // why it did not come; nothing else is set then
};

struct DownloadResult {
    std::optional<Refusal> refusal;  // why nothing came: there is no index
    std::vector<DownloadedFile> files;
};

using FetchFile = std::function<Fetched(const std::string& url, std::size_t most_bytes)>;

// Bytes of all files of a download together; when they are reached, no further file is asked for.
inline constexpr std::size_t longest_of_all = 32UL * 1024UL * 1024UL;

// Asks `fetch` for one file after the other.
DownloadResult download_files(const DownloadJob& job, const FetchFile& fetch);

// The longest time from the request to its answer: who asked waits no longer than a minute.
inline constexpr std::chrono::milliseconds longest_download{40'000};

}  // namespace callhome::service
