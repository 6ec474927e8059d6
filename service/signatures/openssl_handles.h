// Owners of what OpenSSL hands out, and its reasons in words.
#pragma once

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <string_view>

namespace callhome::service {

template <typename T, void (*release)(T*)>
struct Releaser {
    void operator()(T* held) const { release(held); }
};

using EvpKey = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY, EVP_PKEY_free>>;
using EvpKeyContext = std::unique_ptr<EVP_PKEY_CTX, Releaser<EVP_PKEY_CTX, EVP_PKEY_CTX_free>>;
using EvpDigestContext = std::unique_ptr<EVP_MD_CTX, Releaser<EVP_MD_CTX, EVP_MD_CTX_free>>;
using Certificate = std::unique_ptr<X509, Releaser<X509, X509_free>>;
using CertificateStore = std::unique_ptr<X509_STORE, Releaser<X509_STORE, X509_STORE_free>>;
using CmsMessage = std::unique_ptr<CMS_ContentInfo, Releaser<CMS_ContentInfo, CMS_ContentInfo_free>>;
using Bio = std::unique_ptr<BIO, Releaser<BIO, BIO_free_all>>;

// Reads from `bytes`, which must outlive it.
Bio memory_bio(std::string_view bytes);

// The bytes that were written to a memory BIO.
std::string bytes_of(BIO& bio);

// Where a password would be asked for: a public key has none, and a service has nobody to ask.
int refuse_password(char* buffer, int size, int is_writing, void* argument);

// The latest reason that OpenSSL recorded, in words; forgets all of them.
std::string openssl_reason();

}  // namespace callhome::service
