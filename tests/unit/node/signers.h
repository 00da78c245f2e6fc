// SPDX-License-Identifier: MIT
// Authorities and signers made for a test, of every kind that there may be.
#ifndef TESTS_NODE_SIGNERS_H
#define TESTS_NODE_SIGNERS_H

#include "node/openssl_objects.h"

#include <string>

using UniqueCertificate = std::unique_ptr<X509, node::Release<X509_free>>;

enum class KeyKind {
    ellipticCurve, // P-256
    p384,
    p521,
    secp256k1,
    spelledCurve, // P-256 by its numbers
    rsa2048,
    rsa1024,
    rsaPss,
    rsaPss1024,
    dsa,
    ed25519
};

struct CertificatePlan {
    std::string name;
    bool authority = false;
    const char *extendedUse = "codeSigning"; // null: no such extension
    const char *use = nullptr;               // null: what belongs to it
    KeyKind kind = KeyKind::ellipticCurve;
    const char *digest = "SHA256";
    long validFrom = -1; // days from now
    long validTo = 30;
};

struct Identity {
    node::UniqueKey key;
    UniqueCertificate certificate;
};

/* Signed by the issuer, or by itself where that is null. Aborts where OpenSSL does not want to. */
Identity issue(const CertificatePlan &plan, const Identity *issuer = nullptr);
/* An authority for code. */
Identity authority(const std::string &name, const Identity *issuer = nullptr);

std::string pemOf(X509 *certificate);
std::string pemOf(EVP_PKEY *key, const char *passphrase = nullptr);

#endif
