// SPDX-License-Identifier: MIT
// Signs manifests, and refuses at once what no node would believe.
#include "node/signature.h"

#include "base/file_io.h"
#include "node/openssl_objects.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/pem.h>

namespace node {
namespace {

constexpr std::size_t kMaxKeyFile = 64 * 1024;

// There may be nobody to ask: what asks is told no, and the caller that it asked.
int noPassphrase(char *, int, int, void *asked) {
    *static_cast<bool *>(asked) = true;
    return -1;
}

UniqueKey readKey(const std::string &path, std::string &whatIsWrong) {
    std::string text;
    if (!base::readWholeFile(path, kMaxKeyFile, text, whatIsWrong)) {
        whatIsWrong += "; give the signer's private key in PEM";
        return nullptr;
    }
    ERR_clear_error();
    bool asked = false;
    const UniqueBio pem = readingBio(text);
    UniqueKey key(pem ? PEM_read_bio_PrivateKey(pem.get(), nullptr, noPassphrase, &asked)
                      : nullptr);
    OPENSSL_cleanse(text.data(), text.size());
    const std::string reason = opensslReason();
    if (!key) {
        whatIsWrong =
            asked ? path + ": the key has a passphrase; give a file without one, or sign "
                           "the manifest with openssl cms"
                  : path + ": holds no private key in PEM (" + reason + "); give the signer's";
    }
    return key;
}

UniqueCertificates certificatesOf(const std::string &path, std::string &whatIsWrong) {
    UniqueCertificates certificates = readCertificates(path, whatIsWrong);
    if (!certificates) {
        whatIsWrong += "; give certificates in PEM, the signer's own first";
    }
    return certificates;
}

bool fitTogether(const SigningFiles &files, EVP_PKEY *key, X509 *certificate,
                 std::string &whatIsWrong) {
    if (X509_check_private_key(certificate, key) != 1) {
        ERR_clear_error();
        whatIsWrong = files.certificate + ": its first certificate (" + subjectOf(certificate) +
                      ") is not of the key " + files.key + "; give the two that belong together";
        return false;
    }
    if (!maySignManifests(key)) {
        whatIsWrong = files.key + ": a node takes no signature of this key (" + kindOf(key) +
                      "); give " + kSignerKeys;
        return false;
    }
    if (!maySignCode(certificate)) {
        whatIsWrong = files.certificate + ": its first certificate (" + subjectOf(certificate) +
                      ") is not for code signing; give one with extendedKeyUsage codeSigning";
        return false;
    }
    return true;
}

bool encloseChain(CMS_ContentInfo *cms, const STACK_OF(X509) * certificates, int first,
                  std::string &whatIsWrong) {
    for (int i = first; i < sk_X509_num(certificates); ++i) {
        X509 *const certificate = sk_X509_value(certificates, i);
        // One that is in there already is no mistake.
        if (CMS_add1_cert(cms, certificate) != 1 &&
            ERR_GET_REASON(ERR_peek_last_error()) != CMS_R_CERTIFICATE_ALREADY_PRESENT) {
            whatIsWrong = "the certificate of " + subjectOf(certificate) + " cannot be enclosed (" +
                          opensslReason() + "); leave it out";
            return false;
        }
        ERR_clear_error();
    }
    return true;
}

UniqueCms makeCms(const std::string &text, const SigningFiles &files, EVP_PKEY *key,
                  X509 *certificate, std::string &whatIsWrong) {
    // A key that is bound to a padding is asked for it; the others' form is not touched.
    const bool bound = EVP_PKEY_is_a(key, "RSA-PSS") == 1;
    const unsigned flags = CMS_BINARY | CMS_PARTIAL | CMS_NOSMIMECAP | (bound ? CMS_KEY_PARAM : 0U);
    const UniqueBio content = readingBio(text);
    UniqueCms cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags));
    if (!content || !cms ||
        CMS_add1_signer(cms.get(), certificate, key, EVP_sha256(), flags) == nullptr ||
        CMS_final(cms.get(), content.get(), nullptr, flags) != 1) {
        whatIsWrong = files.key + ": this key (" + kindOf(key) + ") cannot sign a manifest (" +
                      opensslReason() + "); give another one";
        return nullptr;
    }
    return cms;
}

bool encode(CMS_ContentInfo *cms, std::string &bytes, std::string &whatIsWrong) {
    unsigned char *encoded = nullptr;
    const int size = i2d_CMS_ContentInfo(cms, &encoded);
    if (size < 0) {
        whatIsWrong = "the signature cannot be encoded (" + opensslReason() + "); try again";
        return false;
    }
    bytes.assign(reinterpret_cast<char *>(encoded), static_cast<std::size_t>(size));
    OPENSSL_free(encoded);
    if (bytes.size() > kMaxSignature) {
        whatIsWrong = "the signature has " + std::to_string(bytes.size()) +
                      " bytes with its certificates, a node reads " +
                      std::to_string(kMaxSignature) + "; enclose fewer certificates";
        return false;
    }
    return true;
}

} // namespace

bool signManifest(const std::string &manifestText, const SigningFiles &files, std::string &cms,
                  std::string &whatIsWrong) {
    const UniqueKey key = readKey(files.key, whatIsWrong);
    const UniqueCertificates own = key ? certificatesOf(files.certificate, whatIsWrong) : nullptr;
    const UniqueCertificates chain =
        own && !files.chain.empty() ? certificatesOf(files.chain, whatIsWrong) : nullptr;
    if (!own || (!files.chain.empty() && !chain)) {
        return false;
    }
    X509 *const certificate = sk_X509_value(own.get(), 0);
    if (!fitTogether(files, key.get(), certificate, whatIsWrong)) {
        return false;
    }
    const UniqueCms made = makeCms(manifestText, files, key.get(), certificate, whatIsWrong);
    std::string bytes;
    std::string text;
    std::string signer;
    if (!made || !encloseChain(made.get(), own.get(), 1, whatIsWrong) ||
        (chain && !encloseChain(made.get(), chain.get(), 0, whatIsWrong)) ||
        !encode(made.get(), bytes, whatIsWrong)) {
        return false;
    }
    if (!peekSignedManifest(bytes, text, signer, whatIsWrong)) {
        whatIsWrong = files.key + ": what it signed cannot be used, " + whatIsWrong;
        return false;
    }
    cms = std::move(bytes);
    return true;
}

} // namespace node
