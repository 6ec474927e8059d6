#include "signatures/download.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "signatures/signature_index.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

struct FetchRefusal {
    FetchVerdict verdict;
    ResultCode code;
};

constexpr std::array fetch_refusals{
    FetchRefusal{FetchVerdict::not_there, ResultCode::signature_missing},
    FetchRefusal{FetchVerdict::refused, ResultCode::http_answer_invalid},
    FetchRefusal{FetchVerdict::too_long, ResultCode::over_length},
    FetchRefusal{FetchVerdict::not_reached, ResultCode::message_not_sent},
    FetchRefusal{FetchVerdict::timed_out, ResultCode::timed_out},
    FetchRefusal{FetchVerdict::stopped, ResultCode::failed},
};

Refusal refusal_of(const Fetched& fetched, const std::string& url) {
    const auto* row = std::ranges::find(fetch_refusals, fetched.verdict, &FetchRefusal::verdict);
    return {row == fetch_refusals.end() ? ResultCode::failed : row->code,
            fmt::format("{}: {}", url, fetched.reason)};
}

std::string address_of(std::string url, std::string_view file) {
    while (url.ends_with('/')) {
        url.pop_back();
    }
    return fmt::format("{}/{}", url, file);
}

// What the first server gave that gave anything; else why the last one did not.
struct Found {
    std::string url;  // of the file
    Fetched fetched;
};

Found fetch_from_any(const DownloadJob& job, const FetchFile& fetch, std::string_view file) {
    Found found;
    for (const std::string& url : job.urls) {
        found.url = address_of(url, file);
        found.fetched = fetch(found.url, longest_signature_file);
        if (found.fetched.verdict == FetchVerdict::fetched) {
            break;
        }
    }
    return found;
}

// The forms are tried in turn. A file without any is handed on as it is: whether it may be believed is
// decided elsewhere.
std::optional<Refusal> fetch_signing(const std::string& url, const FetchFile& fetch, DownloadedFile& file) {
    for (const SigningForm& form : signing_forms) {
        const std::string beside = url + std::string(form.suffix);
        Fetched fetched = fetch(beside, longest_detached_signature);
        if (fetched.verdict == FetchVerdict::fetched) {
            file.signature = DetachedSignature{form.method, std::move(fetched.body)};
            return std::nullopt;
        }
        if (fetched.verdict != FetchVerdict::not_there) {
            return refusal_of(fetched, beside);
        }
    }
    return std::nullopt;
}

DownloadedFile fetch_signature(const DownloadJob& job, const FetchFile& fetch, std::uint32_t id) {
    DownloadedFile file;
    file.id = id;
    Found found = fetch_from_any(job, fetch, fmt::format("{}.xml", id));
    if (found.fetched.verdict != FetchVerdict::fetched) {
        file.refusal = refusal_of(found.fetched, found.url);
        return file;
    }
    file.refusal = fetch_signing(found.url, fetch, file);
    if (!file.refusal) {
        file.xml = std::move(found.fetched.body);
    }
    return file;
}

// What is fetched is held in memory until all of it is there.
DownloadedFile too_much(std::uint32_t id) {
    DownloadedFile file;
    file.id = id;
    file.refusal =
        Refusal{ResultCode::over_length,
                fmt::format("the files before it have {} bytes; ask for it alone", longest_of_all)};
    return file;
}

DownloadResult fetch_all(const DownloadJob& job, const FetchFile& fetch) {
    const Found found = fetch_from_any(job, fetch, "index.xml");
    if (found.fetched.verdict != FetchVerdict::fetched) {
        Refusal refusal = refusal_of(found.fetched, found.url);
        // It is the index that is missing: the answer of the server is not what was expected.
        if (found.fetched.verdict == FetchVerdict::not_there) {
            refusal.code = ResultCode::http_answer_invalid;
        }
        return {std::move(refusal), {}};
    }
    const auto index = read_signature_index(found.fetched.body);
    if (const auto* refusal = std::get_if<Refusal>(&index)) {
        return {*refusal, {}};
    }
    DownloadResult result;
    std::size_t bytes = 0;
    for (const IndexEntry& entry : std::get<std::vector<IndexEntry>>(index)) {
        const auto present = job.present.find(entry.id);
        if (present != job.present.end() && present->second == entry.revision) {
            continue;
        }
        result.files.push_back(bytes < longest_of_all ? fetch_signature(job, fetch, entry.id)
                                                      : too_much(entry.id));
        bytes += result.files.back().xml.size();
    }
    return result;
}

}  // namespace

DownloadResult download_files(const DownloadJob& job, const FetchFile& fetch) {
    if (job.kind == DownloadKind::all) {
        return fetch_all(job, fetch);
    }
    DownloadResult result;
    result.files.push_back(fetch_signature(job, fetch, job.id));
    return result;
}

}  // namespace callhome::service
