// Stands in for files, keys and servers of signatures: what a text means, who vouches for it and what a
// download brings is what the test has laid down.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "signatures/actions.h"

namespace callhome::service {

struct FakeSignatures {
    // What is there. A text that is neither known nor refused is no signature.
    std::map<std::string, Signature, std::less<>> known;     // by the text of its file
    std::map<std::string, Refusal, std::less<>> unreadable;  // texts that are refused, and why
    std::set<std::string, std::less<>> untrusted;            // texts that nobody vouches for
    bool takes_downloads = true;

    // What was asked.
    std::optional<DownloadJob> job;
    std::function<void(DownloadResult)> finish_download;
    std::optional<DetachedSignature> seen_signing;
    std::size_t waiting = 0;

    std::variant<Signature, Refusal> read(std::string_view xml) const {
        if (const auto found = known.find(xml); found != known.end()) {
            return found->second;
        }
        const auto refusal = unreadable.find(xml);
        return refusal != unreadable.end()
                   ? refusal->second
                   : Refusal{protocol::ResultCode::xml_unreadable, "line 1: this is no signature"};
    }
    Catalogue::Read reader() {
        return [this](std::string_view xml) { return read(xml); };
    }

    SignatureActions::Means means() {
        SignatureActions::Means means;
        means.read = reader();
        means.verify = [this](std::string_view content, const std::optional<DetachedSignature>& signing) {
            seen_signing = signing;
            return untrusted.contains(content)
                       ? std::optional(Refusal{protocol::ResultCode::not_trusted, "no key vouches for it"})
                       : std::nullopt;
        };
        means.download = [this](DownloadJob wanted, std::function<void(DownloadResult)> done) {
            job = std::move(wanted);
            finish_download = std::move(done);
            return takes_downloads;
        };
        means.waiting_downloads = [this](DownloadKind /*kind*/) { return waiting; };
        means.software_version = "1.2";
        return means;
    }
};

// A signature that asks nothing and can run.
inline Signature plain_signature(std::uint32_t id, std::string name = "link flapping") {
    Signature signature;
    signature.id = id;
    signature.name = std::move(name);
    signature.revision = "1.0";
    signature.author = "Ada Marlowe";
    signature.description = "Ports that go up and down.\nMore than twice.";
    signature.event = LogEvent{"port .* down"};
    signature.commands = {"show interface"};
    signature.subject = "links flap";
    signature.text = "Look at it.";
    return signature;
}

inline SignatureVariable prompted_variable(std::string name, std::string prompt) {
    SignatureVariable variable;
    variable.name = std::move(name);
    variable.prompt = std::move(prompt);
    return variable;
}

}  // namespace callhome::service
