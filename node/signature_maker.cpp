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

base::Result<UniqueKey> readKey(const std::string &path) {
    auto text = base::readWholeFile(path, kMaxKeyFile);
    if (!text) {
        return text.error().within("", "; give the signer's private key in PEM");
    }
    ERR_clear_error();
    bool asked = false;
    const UniqueBio pem = readingBio(*text);
    UniqueKey key(pem ? PEM_read_bio_PrivateKey(pem.get(), nullptr, noPassphrase, &asked)
                      : nullptr);
    OPENSSL_cleanse(text->data(), text->size());
    const std::string reason = opensslReason();
    if (!key) {
        return base::Error{
            asked ? path + ": the key has a passphrase; give a file without one, or sign "
                           "the manifest with openssl cms"
                  : path + ": holds no private key in PEM (" + reason + "); give the signer's"};
    }
    return key;
}

base::Result<UniqueCertificates> certificatesOf(const std::string &path) {
    auto certificates = readCertificates(path);
    if (!certificates) {
        return certificates.error().within("",
                                           "; give certificates in PEM, the signer's own first");
    }
    return certificates;
}

base::Result<void> fitTogether(const SigningFiles &files, EVP_PKEY *key, X509 *certificate) {
    if (X509_check_private_key(certificate, key) != 1) {
        ERR_clear_error();
        return base::Error{files.certificate + ": its first certificate (" +
                           subjectOf(certificate) + ") is not of the key " + files.key +
                           "; give the two that belong together"};
    }
    if (!maySignManifests(key)) {
        return base::Error{files.key + ": a node takes no signature of this key (" + kindOf(key) +
                           "); give " + kSignerKeys};
    }
    if (!maySignCode(certificate)) {
        return base::Error{files.certificate + ": its first certificate (" +
                           subjectOf(certificate) +
                           ") is not for code signing; give one with extendedKeyUsage codeSigning"};
    }
    return {};
}

base::Result<void> encloseChain(CMS_ContentInfo *cms, const STACK_OF(X509) * certificates,
                                int first) {
    for (int i = first; i < sk_X509_num(certificates); ++i) {
        X509 *const certificate = sk_X509_value(certificates, i);
        // One that is in there already is no mistake.
        if (CMS_add1_cert(cms, certificate) != 1 &&
            ERR_GET_REASON(ERR_peek_last_error()) != CMS_R_CERTIFICATE_ALREADY_PRESENT) {
            return base::Error{"the certificate of " + subjectOf(certificate) +
                               " cannot be enclosed (" + opensslReason() + "); leave it out"};
        }
        ERR_clear_error();
    }
    return {};
}

base::Result<UniqueCms> makeCms(const std::string &text, const SigningFiles &files, EVP_PKEY *key,
                                X509 *certificate) {
    // A key that is bound to a padding is asked for it; the others' form is not touched.
    const bool bound = EVP_PKEY_is_a(key, "RSA-PSS") == 1;
    const unsigned flags = CMS_BINARY | CMS_PARTIAL | CMS_NOSMIMECAP | (bound ? CMS_KEY_PARAM : 0U);
    const UniqueBio content = readingBio(text);
    UniqueCms cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags));
    if (!content || !cms ||
        CMS_add1_signer(cms.get(), certificate, key, EVP_sha256(), flags) == nullptr ||
        CMS_final(cms.get(), content.get(), nullptr, flags) != 1) {
        return base::Error{files.key + ": this key (" + kindOf(key) + ") cannot sign a manifest (" +
                           opensslReason() + "); give another one"};
    }
    return cms;
}

base::Result<std::string> encode(CMS_ContentInfo *cms) {
    unsigned char *encoded = nullptr;
    const int size = i2d_CMS_ContentInfo(cms, &encoded);
    if (size < 0) {
        return base::Error{"the signature cannot be encoded (" + opensslReason() + "); try again"};
    }
    std::string bytes(reinterpret_cast<char *>(encoded), static_cast<std::size_t>(size));
    OPENSSL_free(encoded);
    if (bytes.size() > kMaxSignature) {
        return base::Error{"the signature has " + std::to_string(bytes.size()) +
                           " bytes with its certificates, a node reads " +
                           std::to_string(kMaxSignature) + "; enclose fewer certificates"};
    }
    return bytes;
}

} // namespace

base::Result<std::string> signManifest(const std::string &manifestText, const SigningFiles &files) {
    const auto key = readKey(files.key);
    if (!key) {
        return key.error();
    }
    const auto own = certificatesOf(files.certificate);
    if (!own) {
        return own.error();
    }
    base::Result<UniqueCertificates> chain = UniqueCertificates();
    if (!files.chain.empty()) {
        chain = certificatesOf(files.chain);
    }
    if (!chain) {
        return chain.error();
    }
    X509 *const certificate = sk_X509_value(own->get(), 0);
    if (const auto fit = fitTogether(files, key->get(), certificate); !fit) {
        return fit.error();
    }
    const auto made = makeCms(manifestText, files, key->get(), certificate);
    if (!made) {
        return made.error();
    }
    const auto enclosed = encloseChain(made->get(), own->get(), 1).andThen([&] {
        return encloseChain(made->get(), chain->get(), 0);
    });
    if (!enclosed) {
        return enclosed.error();
    }
    auto bytes = encode(made->get());
    if (!bytes) {
        return bytes;
    }
    if (const auto read = peekSignedManifest(*bytes); !read) {
        return read.error().within(files.key + ": what it signed cannot be used, ");
    }
    return bytes;
}

} // namespace node
