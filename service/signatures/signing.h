// Who has vouched for a signature file: detached signatures beside it, NAME.xml.sig (Ed25519, 64 bytes) or
// NAME.xml.p7s (CMS, DER), held against the keys and certificates in a folder of the service's own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "signatures/signature.h"

namespace callhome::service {

enum class SigningMethod : std::uint8_t { ed25519, cms };

struct SigningForm {
    SigningMethod method;
    std::string_view suffix;  // behind the name of the file
};

// In the order in which they are looked for.
inline constexpr std::array signing_forms{
    SigningForm{SigningMethod::ed25519, ".sig"},
    SigningForm{SigningMethod::cms, ".p7s"},
};

inline constexpr std::size_t ed25519_signature_size = 64;
inline constexpr std::size_t longest_detached_signature = 65'536;

struct DetachedSignature {
    SigningMethod method;
    std::string bytes;  // the whole file
};

// What is beside `file`; nothing when no signature is there. Refusals are those of read_bounded_file.
std::variant<std::optional<DetachedSignature>, Refusal> read_detached_signature(
    const std::filesystem::path& file);

struct TrustSettings {
    std::filesystem::path key_folder;  // *.pem: Ed25519 public keys, certificates of authorities
    bool allow_unsigned = false;       // believes everything, looks at nothing
};

// Nothing when `content` may be believed. Keys are read anew each time: one that is put there or taken away
// counts from then on. A key that others could have written is left out, and the refusal says so.
std::optional<Refusal> refuse_untrusted(std::string_view content,
                                        const std::optional<DetachedSignature>& signature,
                                        const TrustSettings& settings);

}  // namespace callhome::service
