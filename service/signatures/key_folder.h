// The keys and certificates that the service believes: the *.pem files of one folder.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

#include "signatures/openssl_handles.h"
#include "signatures/signature.h"

namespace callhome::service {

struct KeyFolder {
    std::vector<EvpKey> ed25519_keys;
    std::vector<Certificate> certificates;
    std::vector<std::string> left_out;  // files that do not count, each with its reason
};

// A refusal (not_trusted) when the folder cannot be read, or when others may write to it.
std::variant<KeyFolder, Refusal> read_key_folder(const std::filesystem::path& folder);

}  // namespace callhome::service
