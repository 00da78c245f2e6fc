// SPDX-License-Identifier: MIT
// Authorities and signers made for a test, of every kind that there may be.
#include "signers.h"

#include <openssl/dsa.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <cstdlib>
#include <cstring>

namespace {

void require(bool success) {
    if (!success) {
        std::abort();
    }
}

using Context = std::unique_ptr<EVP_PKEY_CTX, node::Release<EVP_PKEY_CTX_free>>;

EVP_PKEY *generated(const char *type, int bits) {
    const Context context(EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr));
    EVP_PKEY *key = nullptr;
    require(context && EVP_PKEY_keygen_init(context.get()) == 1 &&
            EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits) == 1 &&
            EVP_PKEY_generate(context.get(), &key) == 1);
    return key;
}

// With the numbers of the curve in the place of its name.
EVP_PKEY *spelledCurve() {
    const Context context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY *key = nullptr;
    require(context && EVP_PKEY_keygen_init(context.get()) == 1 &&
            EVP_PKEY_CTX_set_ec_paramgen_curve_nid(context.get(), NID_X9_62_prime256v1) == 1 &&
            EVP_PKEY_CTX_set_ec_param_enc(context.get(), OPENSSL_EC_EXPLICIT_CURVE) == 1 &&
            EVP_PKEY_generate(context.get(), &key) == 1);
    return key;
}

EVP_PKEY *dsaKey() {
    const Context parameters(EVP_PKEY_CTX_new_from_name(nullptr, "DSA", nullptr));
    EVP_PKEY *domain = nullptr;
    require(parameters && EVP_PKEY_paramgen_init(parameters.get()) == 1 &&
            EVP_PKEY_CTX_set_dsa_paramgen_bits(parameters.get(), 2048) == 1 &&
            EVP_PKEY_paramgen(parameters.get(), &domain) == 1);
    const node::UniqueKey owner(domain);
    const Context context(EVP_PKEY_CTX_new_from_pkey(nullptr, domain, nullptr));
    EVP_PKEY *key = nullptr;
    require(context && EVP_PKEY_keygen_init(context.get()) == 1 &&
            EVP_PKEY_generate(context.get(), &key) == 1);
    return key;
}

node::UniqueKey newKey(KeyKind kind) {
    EVP_PKEY *key = nullptr;
    switch (kind) {
    case KeyKind::ellipticCurve:
        key = EVP_EC_gen("P-256");
        break;
    case KeyKind::p384:
        key = EVP_EC_gen("P-384");
        break;
    case KeyKind::p521:
        key = EVP_EC_gen("P-521");
        break;
    case KeyKind::secp256k1:
        key = EVP_EC_gen("secp256k1");
        break;
    case KeyKind::spelledCurve:
        key = spelledCurve();
        break;
    case KeyKind::rsaPss:
        key = generated("RSA-PSS", 2048);
        break;
    case KeyKind::rsaPss1024:
        key = generated("RSA-PSS", 1024);
        break;
    case KeyKind::dsa:
        key = dsaKey();
        break;
    case KeyKind::rsa2048:
        key = EVP_RSA_gen(2048);
        break;
    case KeyKind::rsa1024:
        key = EVP_RSA_gen(1024);
        break;
    case KeyKind::ed25519:
        key = EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519");
        break;
    }
    require(key != nullptr);
    return node::UniqueKey(key);
}

void addExtension(X509 *certificate, X509 *issuer, int name, const char *value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, node::Release<X509_EXTENSION_free>> extension(
        X509V3_EXT_conf_nid(nullptr, &context, name, value));
    require(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

void name(X509 *certificate, const std::string &text) {
    X509_NAME *const subject = X509_get_subject_name(certificate);
    if (!text.empty()) {
        require(X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                           reinterpret_cast<const unsigned char *>(text.data()), -1,
                                           -1, 0) == 1);
    }
}

} // namespace

Identity issue(const CertificatePlan &plan, const Identity *issuer) {
    static long serial = 0;
    Identity made{newKey(plan.kind), UniqueCertificate(X509_new())};
    X509 *const certificate = made.certificate.get();
    X509 *const by = issuer == nullptr ? certificate : issuer->certificate.get();
    name(certificate, plan.name);
    require(X509_set_version(certificate, X509_VERSION_3) == 1 &&
            ASN1_INTEGER_set(X509_get_serialNumber(certificate), ++serial) == 1 &&
            X509_set_pubkey(certificate, made.key.get()) == 1 &&
            X509_set_issuer_name(certificate, X509_get_subject_name(by)) == 1);
    constexpr long kDay = 24L * 60 * 60;
    X509_gmtime_adj(X509_getm_notBefore(certificate), plan.validFrom * kDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate), plan.validTo * kDay);
    addExtension(certificate, by, NID_basic_constraints,
                 plan.authority ? "critical,CA:TRUE" : "critical,CA:FALSE");
    const char *const usual = plan.authority ? "critical,keyCertSign" : "critical,digitalSignature";
    addExtension(certificate, by, NID_key_usage, plan.use == nullptr ? usual : plan.use);
    if (plan.extendedUse != nullptr) {
        addExtension(certificate, by, NID_ext_key_usage, plan.extendedUse);
    }
    EVP_PKEY *const key = issuer == nullptr ? made.key.get() : issuer->key.get();
    const EVP_MD *const digest =
        EVP_PKEY_is_a(key, "ED25519") == 1 ? nullptr : EVP_get_digestbyname(plan.digest);
    require(X509_sign(certificate, key, digest) > 0);
    return made;
}

Identity authority(const std::string &name, const Identity *issuer) {
    return issue({.name = name, .authority = true, .extendedUse = nullptr}, issuer);
}

std::string pemOf(X509 *certificate) {
    const node::UniqueBio memory(BIO_new(BIO_s_mem()));
    require(memory && PEM_write_bio_X509(memory.get(), certificate) == 1);
    return node::textOf(memory.get());
}

std::string pemOf(EVP_PKEY *key, const char *passphrase) {
    const node::UniqueBio memory(BIO_new(BIO_s_mem()));
    const auto length = passphrase == nullptr ? 0 : static_cast<int>(std::strlen(passphrase));
    require(memory && PEM_write_bio_PKCS8PrivateKey(
                          memory.get(), key, passphrase == nullptr ? nullptr : EVP_aes_128_cbc(),
                          passphrase, length, nullptr, nullptr) == 1);
    return node::textOf(memory.get());
}
