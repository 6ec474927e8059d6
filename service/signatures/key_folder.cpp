#include "signatures/key_folder.h"

#include <fmt/format.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>

#include "signatures/bounded_file.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

constexpr std::size_t longest_key_file = 65'536;
constexpr std::size_t most_key_files = 256;
constexpr const char* key_file_ending = ".pem";

// Why this must not be believed: who else may write a key can sign as he likes.
std::optional<std::string> why_unsafe(mode_t mode, uid_t owner) {
    if ((mode & (S_IWGRP | S_IWOTH)) != 0) {
        return "others than its owner may write to it";
    }
    if (owner != 0 && owner != ::geteuid()) {
        return "it belongs neither to root nor to the user of the service";
    }
    return std::nullopt;
}

void take_certificates(const std::string& text, KeyFolder& keys) {
    const Bio bio = memory_bio(text);
    while (Certificate certificate{PEM_read_bio_X509(bio.get(), nullptr, refuse_password, nullptr)}) {
        keys.certificates.push_back(std::move(certificate));
    }
    ERR_clear_error();  // the end of the file is one, too
}

void take_public_keys(const std::string& text, KeyFolder& keys) {
    const Bio bio = memory_bio(text);
    while (EvpKey key{PEM_read_bio_PUBKEY(bio.get(), nullptr, refuse_password, nullptr)}) {
        if (EVP_PKEY_is_a(key.get(), "ED25519") == 1) {
            keys.ed25519_keys.push_back(std::move(key));
        }
    }
    ERR_clear_error();
}

std::optional<std::string> why_left_out(const std::filesystem::path& file, KeyFolder& keys) {
    const auto read = read_bounded_file(file, longest_key_file);
    if (const auto* refusal = std::get_if<Refusal>(&read)) {
        return refusal->why;
    }
    const auto& content = std::get<FileContent>(read);
    if (auto why = why_unsafe(content.mode, content.owner)) {
        return file.string() + ": " + *why;
    }
    const std::size_t before = keys.ed25519_keys.size() + keys.certificates.size();
    take_certificates(content.bytes, keys);
    take_public_keys(content.bytes, keys);
    if (keys.ed25519_keys.size() + keys.certificates.size() == before) {
        return file.string() + ": it holds neither an Ed25519 public key nor a certificate";
    }
    return std::nullopt;
}

// In the order of their names. Throws std::filesystem::filesystem_error.
std::vector<std::filesystem::path> key_files(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == key_file_ending) {
            files.push_back(entry.path());
        }
    }
    std::ranges::sort(files);
    return files;
}

Refusal folder_refusal(const std::filesystem::path& folder, std::string_view why) {
    return {ResultCode::not_trusted, fmt::format("the key folder {}: {}", folder.string(), why)};
}

}  // namespace

std::variant<KeyFolder, Refusal> read_key_folder(const std::filesystem::path& folder) {
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0) {
        return folder_refusal(folder, std::generic_category().message(errno));
    }
    if (auto why = why_unsafe(status.st_mode, status.st_uid)) {
        return folder_refusal(folder, *why);
    }
    KeyFolder keys;
    try {
        const std::vector<std::filesystem::path> files = key_files(folder);
        if (files.size() > most_key_files) {
            return folder_refusal(folder, fmt::format("it holds more than {} keys", most_key_files));
        }
        for (const std::filesystem::path& file : files) {
            if (auto why = why_left_out(file, keys)) {
                keys.left_out.push_back(*std::move(why));
            }
        }
    } catch (const std::filesystem::filesystem_error& error) {
        return folder_refusal(folder, error.code().message());
    }
    return keys;
}

}  // namespace callhome::service
