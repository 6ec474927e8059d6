// Keys, authorities and certificates that a test makes for itself.
#pragma once

#include <string>

namespace callhome::service::tests {

struct Authority {
    std::string secret_pem;
    std::string certificate_pem;
};

struct CertificateWish {
    const char* common_name = "signer";
    long begins_in = -3600;  // seconds from now
    long ends_in = 3600;
    const char* extended_usage = nullptr;  // "serverAuth"; null for none
};

Authority make_authority(const char* common_name);
// A key and its certificate, made out by the authority.
Authority make_signer(const Authority& authority, const CertificateWish& wish);

// A CMS message that holds its content, and one that is made with SHA-1.
std::string cms_with_content(const std::string& content, const Authority& signer);
std::string cms_with_weak_digest(const std::string& content, const Authority& signer);

// An RSA public key in PEM.
std::string make_rsa_public_key();

}  // namespace callhome::service::tests
