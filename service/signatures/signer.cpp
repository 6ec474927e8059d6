#include "signatures/signer.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <new>
#include <vector>

#include "signatures/openssl_handles.h"

namespace callhome::service {
namespace {

SigningError failure(const std::string& what) {
    return {what + ": " + openssl_reason()};
}

Bio writing_bio() {
    Bio bio(BIO_new(BIO_s_mem()));
    if (bio == nullptr) {
        throw std::bad_alloc();
    }
    return bio;
}

EvpKey read_secret_key(std::string_view pem) {
    return EvpKey(PEM_read_bio_PrivateKey(memory_bio(pem).get(), nullptr, nullptr, nullptr));
}

std::vector<Certificate> read_certificates(std::string_view pem) {
    std::vector<Certificate> certificates;
    const Bio bio = memory_bio(pem);
    while (Certificate certificate{PEM_read_bio_X509(bio.get(), nullptr, refuse_password, nullptr)}) {
        certificates.push_back(std::move(certificate));
    }
    ERR_clear_error();  // the end of the text is one, too
    return certificates;
}

// A message that is to be signed and carries all certificates.
CmsMessage start_message(const std::vector<Certificate>& certificates, EVP_PKEY& key) {
    constexpr unsigned flags = CMS_DETACHED | CMS_BINARY | CMS_PARTIAL | CMS_NOSMIMECAP;
    CmsMessage message(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags));
    bool is_sound = message != nullptr && CMS_add1_signer(message.get(), certificates.front().get(), &key,
                                                          EVP_sha256(), flags) != nullptr;
    for (std::size_t i = 1; is_sound && i < certificates.size(); ++i) {
        is_sound = CMS_add1_cert(message.get(), certificates[i].get()) == 1;
    }
    if (!is_sound) {
        message.reset();
    }
    return message;
}

}  // namespace

std::variant<KeyPair, SigningError> make_ed25519_key() {
    const EvpKey key(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
    const Bio secret = writing_bio();
    const Bio open = writing_bio();
    if (key == nullptr ||
        PEM_write_bio_PKCS8PrivateKey(secret.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) !=
            1 ||
        PEM_write_bio_PUBKEY(open.get(), key.get()) != 1) {
        return failure("no key could be made");
    }
    return KeyPair{bytes_of(*secret), bytes_of(*open)};
}

std::variant<DetachedSignature, SigningError> sign_ed25519(std::string_view content,
                                                           std::string_view secret_pem) {
    const EvpKey key = read_secret_key(secret_pem);
    if (key == nullptr || EVP_PKEY_is_a(key.get(), "ED25519") != 1) {
        ERR_clear_error();
        return SigningError{"the key is no Ed25519 secret key in PEM; for others, name a certificate too"};
    }
    std::string bytes(ed25519_signature_size, '\0');
    std::size_t size = bytes.size();
    const EvpDigestContext context(EVP_MD_CTX_new());
    if (context == nullptr ||
        EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get()) != 1 ||
        EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(bytes.data()), &size,
                       reinterpret_cast<const unsigned char*>(content.data()), content.size()) != 1) {
        return failure("the content could not be signed");
    }
    return DetachedSignature{SigningMethod::ed25519, bytes};
}

std::variant<DetachedSignature, SigningError> sign_cms(std::string_view content,
                                                       std::string_view secret_pem,
                                                       std::string_view certificates_pem) {
    const EvpKey key = read_secret_key(secret_pem);
    if (key == nullptr) {
        return failure("the secret key cannot be read");
    }
    const std::vector<Certificate> certificates = read_certificates(certificates_pem);
    if (certificates.empty()) {
        return SigningError{"the certificate file holds no certificate in PEM"};
    }
    const CmsMessage message = start_message(certificates, *key);
    const Bio input = memory_bio(content);
    const Bio output = writing_bio();
    if (message == nullptr ||
        CMS_final(message.get(), input.get(), nullptr, CMS_DETACHED | CMS_BINARY) != 1 ||
        i2d_CMS_bio(output.get(), message.get()) != 1) {
        return failure("the content could not be signed");
    }
    return DetachedSignature{SigningMethod::cms, bytes_of(*output)};
}

}  // namespace callhome::service
