#include "made_keys.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <stdexcept>

#include "signatures/openssl_handles.h"

namespace callhome::service::tests {
namespace {

constexpr int x509_version_3 = 2;
constexpr long one_hour = 3600;
constexpr std::size_t rsa_bits = 2048;

void require(bool holds) {
    if (!holds) {
        throw std::runtime_error("the test cannot make its keys: " + openssl_reason());
    }
}

template <typename Write>
std::string pem(Write write) {
    const Bio bio(BIO_new(BIO_s_mem()));
    require(bio != nullptr && write(bio.get()) == 1);
    return bytes_of(*bio);
}

EvpKey secret_key(const std::string& text) {
    EvpKey key(PEM_read_bio_PrivateKey(memory_bio(text).get(), nullptr, refuse_password, nullptr));
    require(key != nullptr);
    return key;
}

Certificate certificate(const std::string& text) {
    Certificate read(PEM_read_bio_X509(memory_bio(text).get(), nullptr, refuse_password, nullptr));
    require(read != nullptr);
    return read;
}

void add_extension(X509& certificate, int kind, const char* value) {
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value);
    require(extension != nullptr);
    require(X509_add_ext(&certificate, extension, -1) == 1);
    X509_EXTENSION_free(extension);
}

// Not yet signed.
Certificate unsigned_certificate(EVP_PKEY& key, const CertificateWish& wish) {
    static long serial = 0;
    Certificate made(X509_new());
    require(made != nullptr);
    X509_set_version(made.get(), x509_version_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made.get()), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), wish.begins_in);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), wish.ends_in);
    X509_set_pubkey(made.get(), &key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made.get()), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(wish.common_name), -1, -1, 0);
    return made;
}

Authority in_pem(EVP_PKEY& key, X509& made) {
    return {pem([&](BIO* bio) {
                return PEM_write_bio_PKCS8PrivateKey(bio, &key, nullptr, nullptr, 0, nullptr, nullptr);
            }),
            pem([&](BIO* bio) { return PEM_write_bio_X509(bio, &made); })};
}

EvpKey make_ec_key() {
    EvpKey key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    require(key != nullptr);
    return key;
}

std::string signed_cms(const std::string& content, const Authority& signer, const EVP_MD* digest,
                       unsigned flags) {
    const EvpKey key = secret_key(signer.secret_pem);
    const Certificate its = certificate(signer.certificate_pem);
    const Bio input = memory_bio(content);
    const CmsMessage message(
        CMS_sign(nullptr, nullptr, nullptr, nullptr, flags | CMS_BINARY | CMS_PARTIAL));
    require(message != nullptr &&
            CMS_add1_signer(message.get(), its.get(), key.get(), digest, flags | CMS_BINARY) != nullptr &&
            CMS_final(message.get(), input.get(), nullptr, flags | CMS_BINARY) == 1);
    return pem([&](BIO* bio) { return i2d_CMS_bio(bio, message.get()); });
}

}  // namespace

Authority make_authority(const char* common_name) {
    const EvpKey key = make_ec_key();
    const Certificate made = unsigned_certificate(*key, {common_name, -one_hour, one_hour, nullptr});
    X509_set_issuer_name(made.get(), X509_get_subject_name(made.get()));
    add_extension(*made, NID_basic_constraints, "critical,CA:TRUE");
    add_extension(*made, NID_key_usage, "critical,keyCertSign");
    require(X509_sign(made.get(), key.get(), EVP_sha256()) > 0);
    return in_pem(*key, *made);
}

Authority make_signer(const Authority& authority, const CertificateWish& wish) {
    const EvpKey key = make_ec_key();
    const Certificate made = unsigned_certificate(*key, wish);
    const Certificate issuer = certificate(authority.certificate_pem);
    X509_set_issuer_name(made.get(), X509_get_subject_name(issuer.get()));
    if (wish.extended_usage != nullptr) {
        add_extension(*made, NID_ext_key_usage, wish.extended_usage);
    }
    require(X509_sign(made.get(), secret_key(authority.secret_pem).get(), EVP_sha256()) > 0);
    return in_pem(*key, *made);
}

std::string cms_with_content(const std::string& content, const Authority& signer) {
    return signed_cms(content, signer, EVP_sha256(), 0);
}

std::string cms_with_weak_digest(const std::string& content, const Authority& signer) {
    return signed_cms(content, signer, EVP_sha1(), CMS_DETACHED);
}

std::string make_rsa_public_key() {
    const EvpKey key(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", rsa_bits));
    require(key != nullptr);
    return pem([&](BIO* bio) { return PEM_write_bio_PUBKEY(bio, key.get()); });
}

}  // namespace callhome::service::tests
