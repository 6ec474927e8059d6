// Makes what signing.h verifies: key pairs and detached signatures. For those who write signatures; the
// service itself holds no secret key.
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "signatures/signing.h"

namespace callhome::service {

struct KeyPair {
    std::string secret_pem;
    std::string public_pem;
};

struct SigningError {
    std::string why;
};

std::variant<KeyPair, SigningError> make_ed25519_key();

// `secret_pem` may be encrypted; the terminal is asked for its password then.
std::variant<DetachedSignature, SigningError> sign_ed25519(std::string_view content,
                                                           std::string_view secret_pem);

// The first certificate is that of the key, those behind it lead to the authority that verifiers trust.
std::variant<DetachedSignature, SigningError> sign_cms(std::string_view content,
                                                       std::string_view secret_pem,
                                                       std::string_view certificates_pem);

}  // namespace callhome::service
