// SPDX-License-Identifier: MIT
// OpenSSL's objects with owners, certificates from PEM files, and its reasons in words.
#ifndef NODE_OPENSSL_OBJECTS_H
#define NODE_OPENSSL_OBJECTS_H

#include "base/result.h"

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <memory>
#include <string>

namespace node {

template <auto release>
struct Release {
    template <typename Object>
    void operator()(Object *object) const {
        release(object);
    }
};

struct ReleaseCertificates {
    void operator()(STACK_OF(X509) * certificates) const {
        sk_X509_pop_free(certificates, X509_free);
    }
};

using UniqueBio = std::unique_ptr<BIO, Release<BIO_free>>;
using UniqueCms = std::unique_ptr<CMS_ContentInfo, Release<CMS_ContentInfo_free>>;
using UniqueKey = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using UniqueVerification = std::unique_ptr<X509_STORE_CTX, Release<X509_STORE_CTX_free>>;
using UniqueCertificates = std::unique_ptr<STACK_OF(X509), ReleaseCertificates>;

/* A view of the text, which must live as long; null where there is no memory. */
UniqueBio readingBio(const std::string &text);
/* What was written to a memory BIO. */
std::string textOf(BIO *memory);

/* Why the last call failed, and no error is left waiting. */
std::string opensslReason();

/*
 * What a manifest may be signed with: RSA or RSA-PSS of 2048 bits or more, or an elliptic curve out
 * of P-256, P-384 and P-521 by its name. Every other kind is one more decoder that a hostile image
 * could reach.
 */
bool maySignManifests(const EVP_PKEY *key);
inline constexpr const char *kSignerKeys =
    "an RSA or RSA-PSS key of 2048 bits or more, or one on the curve P-256, P-384 or P-521";
/* "Ed25519", "RSA of 1024 bits", "EC on secp256k1". */
std::string kindOf(const EVP_PKEY *key);

/* True where the certificate's extended key usage names code signing. */
bool maySignCode(X509 *certificate);
/* The subject in printable ASCII, at most some hundred characters; never empty. */
std::string subjectOf(X509 *certificate);

/* Every certificate of a PEM file, at least one. */
base::Result<UniqueCertificates> readCertificates(const std::string &path);

} // namespace node

#endif
