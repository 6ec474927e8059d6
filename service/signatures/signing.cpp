#include "signatures/signing.h"

#include <fmt/format.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <new>
#include <system_error>

#include "signatures/bounded_file.h"
#include "signatures/key_folder.h"
#include "signatures/openssl_handles.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

// Digests that nobody can make collide.
constexpr std::array strong_digests{NID_sha256, NID_sha384, NID_sha512};

const unsigned char* octets(std::string_view bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

bool has_made(EVP_PKEY& key, std::string_view content, std::string_view signature) {
    const EvpDigestContext context(EVP_MD_CTX_new());
    const bool verified = context != nullptr &&
                          EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, &key) == 1 &&
                          EVP_DigestVerify(context.get(), octets(signature), signature.size(),
                                           octets(content), content.size()) == 1;
    ERR_clear_error();
    return verified;
}

std::optional<std::string> why_not_ed25519(std::string_view content, std::string_view signature,
                                           const KeyFolder& keys) {
    if (signature.size() != ed25519_signature_size) {
        return fmt::format("an Ed25519 signature has {} bytes, this one {}", ed25519_signature_size,
                           signature.size());
    }
    if (keys.ed25519_keys.empty()) {
        return "there is no Ed25519 key to hold the signature against";
    }
    const bool verified = std::ranges::any_of(
        keys.ed25519_keys, [&](const EvpKey& key) { return has_made(*key, content, signature); });
    if (verified) {
        return std::nullopt;
    }
    return "no key that is trusted has signed this content";
}

CertificateStore store_of(const KeyFolder& keys) {
    CertificateStore store(X509_STORE_new());
    if (store == nullptr) {
        throw std::bad_alloc();
    }
    for (const Certificate& certificate : keys.certificates) {
        X509_STORE_add_cert(store.get(), certificate.get());
    }
    return store;
}

bool has_weak_digest(CMS_ContentInfo& message) {
    const STACK_OF(CMS_SignerInfo)* signers = CMS_get0_SignerInfos(&message);
    for (int i = 0; i < sk_CMS_SignerInfo_num(signers); ++i) {
        X509_ALGOR* digest = nullptr;
        CMS_SignerInfo_get0_algs(sk_CMS_SignerInfo_value(signers, i), nullptr, nullptr, &digest, nullptr);
        const ASN1_OBJECT* kind = nullptr;
        X509_ALGOR_get0(&kind, nullptr, nullptr, digest);
        if (std::ranges::find(strong_digests, OBJ_obj2nid(kind)) == strong_digests.end()) {
            return true;
        }
    }
    return false;
}

CmsMessage read_cms(std::string_view bytes) {
    const unsigned char* at = octets(bytes);
    CmsMessage message(d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(bytes.size())));
    const bool is_whole = message != nullptr && at == octets(bytes) + bytes.size();
    const bool is_signature = is_whole && OBJ_obj2nid(CMS_get0_type(message.get())) == NID_pkcs7_signed;
    if (!is_signature || CMS_is_detached(message.get()) != 1) {
        message.reset();
    }
    return message;
}

std::optional<std::string> why_not_cms(std::string_view content, std::string_view signature,
                                       const KeyFolder& keys) {
    const CmsMessage message = read_cms(signature);
    if (message == nullptr) {
        ERR_clear_error();
        return "it is not a detached CMS signature in DER";
    }
    if (keys.certificates.empty()) {
        return "there is no certificate to hold the signature against";
    }
    if (has_weak_digest(*message)) {
        return "its digest is none of SHA-256, SHA-384 and SHA-512";
    }
    const CertificateStore store = store_of(keys);
    const Bio input = memory_bio(content);
    if (CMS_verify(message.get(), nullptr, store.get(), input.get(), nullptr, CMS_BINARY) == 1) {
        return std::nullopt;
    }
    return openssl_reason();
}

Refusal not_trusted(const std::string& why, const KeyFolder& keys) {
    Refusal refusal{ResultCode::not_trusted, "the signature does not count: " + why};
    for (const std::string& file : keys.left_out) {
        refusal.why += "; left out: " + file;
    }
    return refusal;
}

}  // namespace

std::variant<std::optional<DetachedSignature>, Refusal> read_detached_signature(
    const std::filesystem::path& file) {
    for (const SigningForm& form : signing_forms) {
        const std::filesystem::path beside = file.string().append(form.suffix);
        std::error_code ignored;
        if (std::filesystem::symlink_status(beside, ignored).type() ==
            std::filesystem::file_type::not_found) {
            continue;
        }
        auto read = read_bounded_file(beside, longest_detached_signature);
        if (auto* refusal = std::get_if<Refusal>(&read)) {
            return std::move(*refusal);
        }
        return DetachedSignature{form.method, std::get<FileContent>(std::move(read)).bytes};
    }
    return std::nullopt;
}

std::optional<Refusal> refuse_untrusted(std::string_view content,
                                        const std::optional<DetachedSignature>& signature,
                                        const TrustSettings& settings) {
    if (settings.allow_unsigned) {
        return std::nullopt;
    }
    if (!signature) {
        return Refusal{ResultCode::not_trusted, "it is not signed: no .sig or .p7s file is beside it"};
    }
    if (content.size() > longest_signature_file || signature->bytes.size() > longest_detached_signature) {
        return Refusal{ResultCode::over_length, "the file or its signature is too long"};
    }
    auto read = read_key_folder(settings.key_folder);
    if (auto* refusal = std::get_if<Refusal>(&read)) {
        return std::move(*refusal);
    }
    const auto& keys = std::get<KeyFolder>(read);
    const auto why = signature->method == SigningMethod::ed25519
                         ? why_not_ed25519(content, signature->bytes, keys)
                         : why_not_cms(content, signature->bytes, keys);
    return why ? std::optional(not_trusted(*why, keys)) : std::nullopt;
}

}  // namespace callhome::service
