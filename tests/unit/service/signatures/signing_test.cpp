#include "signatures/signing.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "made_keys.h"
#include "signatures/signer.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;
using tests::Authority;
using tests::make_authority;
using tests::make_signer;

const std::string content = "<diagnosticSignature/>\r\n\n";

class Signing : public testing::Test {
 protected:
    // A key file that only its owner writes to, whatever the mask of this process.
    void trust(const char* name, const std::string& pem, mode_t mode = S_IRUSR | S_IWUSR) {
        folder_.write(name, pem);
        ASSERT_EQ(::chmod((folder_ / name).c_str(), mode), 0);
    }

    // Empty when the content is believed.
    std::string why_refused(const std::optional<DetachedSignature>& signature,
                            const std::string& of = content) {
        const auto refusal = refuse_untrusted(of, signature, {folder_.path(), false});
        if (!refusal) {
            return "";
        }
        EXPECT_EQ(refusal->code, ResultCode::not_trusted) << refusal->why;
        return refusal->why;
    }

    static KeyPair make_key() { return std::get<KeyPair>(make_ed25519_key()); }
    static DetachedSignature signed_by(const KeyPair& key) {
        return std::get<DetachedSignature>(sign_ed25519(content, key.secret_pem));
    }
    static DetachedSignature signed_by(const Authority& signer, const std::string& chain = "") {
        return std::get<DetachedSignature>(
            sign_cms(content, signer.secret_pem, signer.certificate_pem + chain));
    }

    TemporaryFolder folder_;
};

// What the refusal says, a piece of it.
#define EXPECT_SAYS(text, piece) EXPECT_NE((text).find(piece), std::string::npos) << (text)

TEST_F(Signing, WithATrustedKeyIsBelieved) {
    const KeyPair key = make_key();
    trust("key.pem", key.public_pem);
    EXPECT_EQ(signed_by(key).bytes.size(), ed25519_signature_size);
    EXPECT_EQ(why_refused(signed_by(key)), "");
}

TEST_F(Signing, WithOneOfManyKeysIsBelieved) {
    const KeyPair key = make_key();
    trust("a.pem", make_key().public_pem + make_key().public_pem);
    trust("b.pem", make_authority("root").certificate_pem + make_key().public_pem + key.public_pem);
    trust("c.pem", make_key().public_pem);
    EXPECT_EQ(why_refused(signed_by(key)), "");
}

TEST_F(Signing, OfAnotherContentIsRefused) {
    const KeyPair key = make_key();
    trust("key.pem", key.public_pem);
    const DetachedSignature signature = signed_by(key);
    for (std::size_t at = 0; at < content.size(); ++at) {
        std::string tampered = content;
        tampered[at] = static_cast<char>(tampered[at] ^ 1);
        EXPECT_SAYS(why_refused(signature, tampered), "no key that is trusted has signed this content");
    }
    EXPECT_NE(why_refused(signature, content + "\n"), "");
    EXPECT_NE(why_refused(signature, content.substr(0, content.size() - 1)), "");
    EXPECT_NE(why_refused(signature, ""), "");
}

TEST_F(Signing, ThatWasTamperedWithIsRefused) {
    const KeyPair key = make_key();
    trust("key.pem", key.public_pem);
    for (std::size_t at = 0; at < ed25519_signature_size; ++at) {
        DetachedSignature signature = signed_by(key);
        signature.bytes[at] = static_cast<char>(signature.bytes[at] ^ 1);
        EXPECT_NE(why_refused(signature), "");
    }
    DetachedSignature signature = signed_by(key);
    signature.bytes += '\n';
    EXPECT_SAYS(why_refused(signature), "an Ed25519 signature has 64 bytes, this one 65");
    signature.bytes.clear();
    EXPECT_SAYS(why_refused(signature), "this one 0");
}

TEST_F(Signing, WithAnotherKeyIsRefused) {
    trust("key.pem", make_key().public_pem);
    EXPECT_SAYS(why_refused(signed_by(make_key())), "no key that is trusted");
}

TEST_F(Signing, IsLookedForInTheFolderEachTime) {
    const KeyPair key = make_key();
    EXPECT_SAYS(why_refused(signed_by(key)), "no Ed25519 key");
    trust("key.pem", key.public_pem);
    EXPECT_EQ(why_refused(signed_by(key)), "");
    std::filesystem::remove(folder_ / "key.pem");
    EXPECT_SAYS(why_refused(signed_by(key)), "no Ed25519 key");
}

TEST_F(Signing, ThatIsNotThereIsRefused) {
    trust("key.pem", make_key().public_pem);
    EXPECT_SAYS(why_refused(std::nullopt), "not signed");
}

TEST_F(Signing, IsNotLookedAtWhenAllIsAllowed) {
    const TrustSettings all{folder_ / "nothing", true};
    EXPECT_FALSE(refuse_untrusted(content, std::nullopt, all));
    EXPECT_FALSE(refuse_untrusted(content, DetachedSignature{SigningMethod::cms, "no"}, all));
}

TEST_F(Signing, WithAKeyThatOthersMayWriteIsRefused) {
    const KeyPair key = make_key();
    for (const mode_t others : {mode_t{S_IWGRP}, mode_t{S_IWOTH}}) {
        trust("key.pem", key.public_pem, S_IRUSR | S_IWUSR | others);
        const std::string why = why_refused(signed_by(key));
        EXPECT_SAYS(why, "key.pem: others than its owner may write to it");
    }
    trust("key.pem", key.public_pem, S_IRUSR | S_IRGRP | S_IROTH);
    EXPECT_EQ(why_refused(signed_by(key)), "");
}

TEST_F(Signing, WithAFolderThatOthersMayWriteIsRefused) {
    const KeyPair key = make_key();
    trust("key.pem", key.public_pem);
    for (const mode_t others : {mode_t{S_IWGRP}, mode_t{S_IWOTH}}) {
        ASSERT_EQ(::chmod(folder_.path().c_str(), S_IRWXU | others), 0);
        EXPECT_SAYS(why_refused(signed_by(key)), "others than its owner may write to it");
    }
    ASSERT_EQ(::chmod(folder_.path().c_str(), S_IRWXU), 0);
    EXPECT_EQ(why_refused(signed_by(key)), "");
}

TEST_F(Signing, WithoutAFolderIsRefused) {
    const KeyPair key = make_key();
    for (const char* name : {"nothing", "file"}) {
        folder_.write("file", key.public_pem);
        const auto refusal = refuse_untrusted(content, signed_by(key), {folder_ / name, false});
        ASSERT_TRUE(refusal);
        EXPECT_EQ(refusal->code, ResultCode::not_trusted);
        EXPECT_SAYS(refusal->why, "the key folder");
    }
}

TEST_F(Signing, LeavesOutWhatIsNoKeyAndSaysSo) {
    const KeyPair key = make_key();
    trust("other.txt", key.public_pem);
    trust("empty.pem", "");
    trust("secret.pem", key.secret_pem);
    trust("rsa.pem", tests::make_rsa_public_key());
    trust("long.pem", std::string(100'000, 'x') + key.public_pem);
    trust("locked.pem",
          "-----BEGIN CERTIFICATE-----\nProc-Type: 4,ENCRYPTED\nDEK-Info: AES-256-CBC,"
          "00000000000000000000000000000000\n\nAAAA\n-----END CERTIFICATE-----\n");
    folder_.write("key", key.public_pem);
    std::filesystem::create_symlink(folder_ / "key", folder_ / "link.pem");
    const std::string why = why_refused(signed_by(key));
    for (const char* name : {"empty.pem", "secret.pem", "rsa.pem", "long.pem", "locked.pem", "link.pem"}) {
        EXPECT_SAYS(why, std::string("left out: ") + (folder_ / name).string());
    }
    EXPECT_EQ(why.find("other.txt"), std::string::npos);
}

TEST_F(Signing, WithACertificateOfATrustedAuthorityIsBelieved) {
    const Authority root = make_authority("root");
    trust("root.pem", root.certificate_pem);
    EXPECT_EQ(why_refused(signed_by(make_signer(root, {}))), "");
    EXPECT_EQ(why_refused(signed_by(make_signer(root, {.extended_usage = "emailProtection"}))), "");
}

TEST_F(Signing, WithACertificateThatDoesNotCountIsRefused) {
    const Authority root = make_authority("root");
    trust("root.pem", root.certificate_pem);
    const auto why = [&](const tests::CertificateWish& wish) {
        return why_refused(signed_by(make_signer(root, wish)));
    };
    EXPECT_SAYS(why({.begins_in = -7200, .ends_in = -3600}), "certificate has expired");
    EXPECT_SAYS(why({.begins_in = 1800, .ends_in = 3600}), "not yet valid");
    EXPECT_SAYS(why({.extended_usage = "serverAuth"}), "certificate purpose");
    EXPECT_SAYS(why_refused(signed_by(make_signer(make_authority("other"), {}))), "issuer certificate");
    // The same name, another key.
    EXPECT_NE(why_refused(signed_by(make_signer(make_authority("root"), {}))), "");
    // Only an authority may make out certificates.
    const Authority signer = make_signer(root, {.common_name = "middle"});
    EXPECT_NE(why_refused(signed_by(make_signer(signer, {}), signer.certificate_pem)), "");
}

TEST_F(Signing, WithACertificateOfAnotherContentIsRefused) {
    const Authority root = make_authority("root");
    trust("root.pem", root.certificate_pem);
    const DetachedSignature signature = signed_by(make_signer(root, {}));
    EXPECT_SAYS(why_refused(signature, content + " "), "signature does not count");
    for (std::size_t at = 0; at < signature.bytes.size(); at += 7) {
        DetachedSignature tampered = signature;
        tampered.bytes.resize(at);
        EXPECT_NE(why_refused(tampered), "") << at;
    }
}

TEST_F(Signing, WithACertificateIsDetachedAndStrong) {
    const Authority root = make_authority("root");
    trust("root.pem", root.certificate_pem);
    const Authority signer = make_signer(root, {});
    const auto cms = [](const std::string& bytes) { return DetachedSignature{SigningMethod::cms, bytes}; };
    EXPECT_SAYS(why_refused(cms(tests::cms_with_content("something else", signer))), "not a detached CMS");
    EXPECT_SAYS(why_refused(cms(tests::cms_with_weak_digest(content, signer))), "its digest is none of");
    EXPECT_SAYS(why_refused(cms("")), "not a detached CMS");
    EXPECT_SAYS(why_refused(cms(signer.certificate_pem)), "not a detached CMS");
    EXPECT_SAYS(why_refused(cms(signed_by(signer).bytes + "x")), "not a detached CMS");
}

TEST_F(Signing, OfOneKindIsNotTakenForTheOther) {
    const KeyPair key = make_key();
    trust("key.pem", key.public_pem);
    DetachedSignature signature = signed_by(key);
    signature.method = SigningMethod::cms;
    EXPECT_SAYS(why_refused(signature), "not a detached CMS");
    EXPECT_SAYS(why_refused(signed_by(make_signer(make_authority("root"), {}))), "no certificate");
}

TEST_F(Signing, ThatIsTooLongIsRefused) {
    trust("key.pem", make_key().public_pem);
    const DetachedSignature long_one{SigningMethod::cms, std::string(longest_detached_signature + 1, 'x')};
    EXPECT_EQ(refuse_untrusted(content, long_one, {folder_.path(), false})->code, ResultCode::over_length);
}

TEST(Signer, SaysWhyItDoesNotSign) {
    const auto why = [](const auto& result) { return std::get<SigningError>(result).why; };
    EXPECT_SAYS(why(sign_ed25519(content, "no key")), "no Ed25519 secret key");
    const Authority root = make_authority("root");
    EXPECT_SAYS(why(sign_ed25519(content, root.secret_pem)), "no Ed25519 secret key");
    EXPECT_SAYS(why(sign_cms(content, "no key", root.certificate_pem)), "the secret key cannot be read");
    EXPECT_SAYS(why(sign_cms(content, root.secret_pem, "no certificate")), "no certificate in PEM");
    EXPECT_SAYS(why(sign_cms(content, root.secret_pem, make_authority("other").certificate_pem)),
                "could not be signed");
}

}  // namespace
}  // namespace callhome::service
