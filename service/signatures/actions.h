// What operators do with signatures: load, download, install, deinstall. Each gives a result code; what
// stands behind a code other than ok is in the log and in the failure table. Used from the io_context's
// thread only; a change that cannot be stored leaves as SQLite::Exception.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "protocol/records/signature.h"
#include "signatures/catalogue.h"
#include "signatures/download.h"
#include "signatures/signing.h"
#include "store/configuration.h"

namespace callhome::service {

inline constexpr std::size_t most_signatures = 256;  // in the catalogue

class SignatureActions {
 public:
    // What the actions stand on.
    struct Means {
        // Why a file may not be believed; nothing when it may.
        std::function<std::optional<Refusal>(std::string_view content,
                                             const std::optional<DetachedSignature>& signature)>
            verify;
        Catalogue::Read read;
        // Starts a download whose result `done` gets later; false when too many wait already.
        std::function<bool(DownloadJob job, std::function<void(DownloadResult)> done)> download;
        std::function<std::size_t(DownloadKind kind)> waiting_downloads;
        std::string software_version;
    };
    // `configuration` is read at the moment of use. It and `catalogue` must outlive this object.
    SignatureActions(Catalogue& catalogue, const Configuration& configuration, Means means);

    Catalogue& catalogue() { return catalogue_; }
    const Catalogue& catalogue() const { return catalogue_; }
    std::size_t waiting_downloads(DownloadKind kind) const { return means_.waiting_downloads(kind); }
    bool has_profile(const std::string& name) const;  // among the destination profiles

    // The file is read as this process, its detached signature beside it.
    protocol::ResultCode load_file(const std::filesystem::path& path);

    // Of one signature, or with protocol::all_signatures of all that the servers have and that are not here
    // in the same revision. `done` is called once, possibly from within.
    using Done = std::function<void(protocol::ResultCode)>;
    void download(std::uint32_t id, const Done& done);

    protocol::ResultCode deinstall(std::uint32_t id);  // or all_signatures

    struct Installation {
        protocol::ResultCode code = protocol::ResultCode::ok;
        std::vector<protocol::DsQuestionRecord> questions;
    };
    // Installs a signature that asks nothing; of another one, gives the questions.
    Installation begin_install(std::uint32_t id);
    // Installs when all is answered well; else gives the questions back with what is wrong with each.
    Installation finish_install(std::uint32_t id, std::vector<protocol::DsQuestionRecord> answered);

    protocol::ResultCode set_profile(const std::string& name);
    protocol::ResultCode remove_profile(const std::string& name);
    protocol::ResultCode set_variable(const std::string& name, const std::string& value);
    protocol::ResultCode remove_variable(const std::string& name);

 private:
    struct Origin {
        std::uint32_t id = 0;  // which signature it should be; 0 for any
        std::string name;      // of the file
    };
    std::variant<Catalogue::Load, protocol::ResultCode> admit(
        std::string xml, const std::optional<DetachedSignature>& signature, const Origin& origin);
    protocol::ResultCode refuse(const Origin& origin, FailureStage stage, const Refusal& refusal);
    std::variant<DownloadJob, Refusal> plan_download(std::uint32_t id) const;
    protocol::ResultCode finish_download(DownloadKind kind, DownloadResult result);
    protocol::ResultCode take_download(DownloadResult result);
    protocol::ResultCode store(const std::vector<Catalogue::Load>& loads);
    std::optional<Refusal> why_not_installed(const Signature& signature,
                                             const VariableValues& values) const;
    protocol::ResultCode install(const CatalogueEntry& entry, const VariableValues& answers);

    Catalogue& catalogue_;
    const Configuration& configuration_;
    const Means means_;
};

}  // namespace callhome::service
