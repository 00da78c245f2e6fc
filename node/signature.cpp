// SPDX-License-Identifier: MIT
// Checks signed manifests: first the bytes and the one signature, then whose it is.
#include "node/signature.h"

#include "node/openssl_objects.h"

#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <string_view>

namespace node {
namespace {

constexpr int kMaxChain = 8;      // certificates between signer and authority
constexpr int kSecurityLevel = 2; // 112 bits: neither SHA-1 nor RSA below 2048 bits in the chain

struct SignedManifest {
    UniqueCms cms;
    X509 *signer = nullptr; // owned by cms
    std::string text;
};

base::Error refusal(const std::string &what, const char *remedy,
                    base::Reason reason = base::Reason::none) {
    ERR_clear_error();
    return {what + "; " + remedy, reason};
}

constexpr const char *kGetAgain = "get the image again";
constexpr const char *kSignAgain = "have it made and signed anew";

// DER has one form for everything: what does not come out as it went in was not signed like this.
UniqueCms parse(const std::string &bytes) {
    if (bytes.size() > kMaxSignature) {
        return nullptr;
    }
    const auto *at = reinterpret_cast<const unsigned char *>(bytes.data());
    UniqueCms cms(d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(bytes.size())));
    unsigned char *encoded = nullptr;
    const int size = cms ? i2d_CMS_ContentInfo(cms.get(), &encoded) : -1;
    const bool same = size >= 0 && bytes == std::string(reinterpret_cast<char *>(encoded),
                                                        static_cast<std::size_t>(size));
    OPENSSL_free(encoded);
    return same ? std::move(cms) : nullptr;
}

bool isStrongDigest(int digest) {
    return digest == NID_sha256 || digest == NID_sha384 || digest == NID_sha512;
}

// The signature's own algorithm is of the signer's key, and of the digest where it names one.
base::Result<void> usesStrongDigest(CMS_SignerInfo *signer) {
    EVP_PKEY *key = nullptr;
    X509_ALGOR *digest = nullptr;
    X509_ALGOR *signature = nullptr;
    CMS_SignerInfo_get0_algs(signer, &key, nullptr, &digest, &signature);
    const int ofDigest = OBJ_obj2nid(digest->algorithm);
    const int algorithm = OBJ_obj2nid(signature->algorithm);
    int named = NID_undef;
    int ofKey = algorithm == NID_rsaEncryption ? algorithm : NID_undef;
    if (ofKey == NID_undef) {
        OBJ_find_sigid_algs(algorithm, &named, &ofKey);
    }
    // An RSA key may sign with the padding that a key of RSA-PSS is bound to.
    const bool fits = key != nullptr && ofKey != NID_undef &&
                      (EVP_PKEY_is_a(key, OBJ_nid2sn(ofKey)) == 1 ||
                       (ofKey == NID_rsassaPss && EVP_PKEY_is_a(key, "RSA") == 1)) &&
                      (named == NID_undef || named == ofDigest);
    if (fits && isStrongDigest(ofDigest)) {
        return {};
    }
    return refusal("its signature uses an algorithm that is not trusted (RSA or an elliptic curve "
                   "with SHA-256, -384 or -512 is)",
                   kSignAgain);
}

// The content of the next object of DER that was parsed before; `rest` goes on behind it.
std::string_view takeElement(std::string_view &rest) {
    const auto *const begin = reinterpret_cast<const unsigned char *>(rest.data());
    const unsigned char *at = begin;
    long size = 0;
    int tag = 0;
    int tagClass = 0;
    if ((ASN1_get_object(&at, &size, &tag, &tagClass, static_cast<long>(rest.size())) & 0x80) !=
        0) {
        rest = {};
        return {};
    }
    const auto header = static_cast<std::size_t>(at - begin);
    const std::string_view content = rest.substr(header, static_cast<std::size_t>(size));
    rest.remove_prefix(header + content.size());
    return content;
}

// OpenSSL reads neither version, nor the case of letters in the name that leads to the signer.
bool namesSignerExactly(std::string_view cms, CMS_SignerInfo *info, X509 *signer) {
    ASN1_OCTET_STRING *keyId = nullptr;
    X509_NAME *issuer = nullptr;
    ASN1_INTEGER *serial = nullptr;
    CMS_SignerInfo_get0_signer_id(info, &keyId, &issuer, &serial);
    const unsigned char *given = nullptr;
    const unsigned char *own = nullptr;
    std::size_t givenSize = 0;
    std::size_t ownSize = 0;
    if (issuer != nullptr &&
        (X509_NAME_get0_der(issuer, &given, &givenSize) != 1 ||
         X509_NAME_get0_der(X509_get_issuer_name(signer), &own, &ownSize) != 1 ||
         !std::equal(given, given + givenSize, own, own + ownSize))) {
        return false;
    }
    std::string_view contentInfo = takeElement(cms);
    takeElement(contentInfo); // its type
    std::string_view tagged = takeElement(contentInfo);
    std::string_view signedData = takeElement(tagged);
    const std::string_view version = takeElement(signedData);
    std::string_view signers;
    while (!signedData.empty()) {
        signers = takeElement(signedData);
    }
    std::string_view first = takeElement(signers);
    const std::string_view expected = issuer != nullptr ? "\1" : "\3";
    return version == expected && takeElement(first) == expected;
}

base::Result<void> hasExpectedForm(CMS_ContentInfo *cms) {
    if (OBJ_obj2nid(CMS_get0_type(cms)) != NID_pkcs7_signed ||
        OBJ_obj2nid(CMS_get0_eContentType(cms)) != NID_pkcs7_data || CMS_is_detached(cms) != 0) {
        return refusal("its signature is not CMS SignedData with the manifest inside", kSignAgain);
    }
    STACK_OF(CMS_SignerInfo) *const signers = CMS_get0_SignerInfos(cms);
    if (sk_CMS_SignerInfo_num(signers) != 1) {
        return refusal("it has " + std::to_string(sk_CMS_SignerInfo_num(signers)) +
                           " signers where one is expected",
                       kSignAgain);
    }
    CMS_SignerInfo *const signer = sk_CMS_SignerInfo_value(signers, 0);
    // Without signed attributes, those of another signature could pass for a manifest.
    if (CMS_signed_get_attr_count(signer) > 0 && CMS_unsigned_get_attr_count(signer) <= 0) {
        return {};
    }
    return refusal("its signature lacks signed attributes, or has unsigned ones", kSignAgain);
}

base::Result<void> isOfAnAllowedKey(X509 *signer) {
    const EVP_PKEY *const key = X509_get0_pubkey(signer);
    if (key != nullptr && maySignManifests(key)) {
        return {};
    }
    return refusal("its signer's key is " + kindOf(key) + ", which no signer may have; expected " +
                       kSignerKeys,
                   "have it signed with such a key");
}

// Whose the signature is, is not asked here.
base::Result<SignedManifest> readSigned(const std::string &bytes) {
    SignedManifest read;
    ERR_clear_error();
    read.cms = parse(bytes);
    if (!read.cms) {
        return refusal("its signature is damaged, it is no CMS in DER", kGetAgain);
    }
    if (const auto form = hasExpectedForm(read.cms.get()); !form) {
        return form.error();
    }
    const UniqueBio content(BIO_new(BIO_s_mem()));
    if (!content || CMS_verify(read.cms.get(), nullptr, nullptr, nullptr, content.get(),
                               CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) != 1) {
        return refusal("its signature does not hold (" + opensslReason() + ")", kGetAgain);
    }
    STACK_OF(X509) *const signers = CMS_get0_signers(read.cms.get());
    read.signer = sk_X509_value(signers, 0);
    sk_X509_free(signers);
    read.text = textOf(content.get());
    CMS_SignerInfo *const info = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(read.cms.get()), 0);
    if (read.signer == nullptr || !namesSignerExactly(bytes, info, read.signer)) {
        return refusal("its signature does not name its signer as CMS asks", kGetAgain);
    }
    const auto allowed =
        isOfAnAllowedKey(read.signer).andThen([&] { return usesStrongDigest(info); });
    if (!allowed) {
        return allowed.error();
    }
    return read;
}

// What the certificates between signer and authority say they are for.
base::Result<void> isForCode(const STACK_OF(X509) * chain) {
    X509 *const signer = sk_X509_value(chain, 0);
    if (!maySignCode(signer) || (X509_get_key_usage(signer) & KU_DIGITAL_SIGNATURE) == 0) {
        return refusal("its signer (" + subjectOf(signer) +
                           ") has no certificate for code signing (extendedKeyUsage codeSigning)",
                       "have it signed with one that has");
    }
    for (int i = 1; i + 1 < sk_X509_num(chain); ++i) {
        X509 *const issuer = sk_X509_value(chain, i);
        const bool limited = (X509_get_extension_flags(issuer) & EXFLAG_XKUSAGE) != 0;
        if (X509_check_ca(issuer) != 1 || (limited && !maySignCode(issuer))) {
            return refusal("its signer's issuer (" + subjectOf(issuer) +
                               ") is no authority for code signing",
                           "have it signed with another certificate");
        }
    }
    return {};
}

base::Result<void> chainsTo(const std::string &authority, const SignedManifest &manifest) {
    const auto anchors = readCertificates(authority);
    if (!anchors) {
        return refusal("its signature cannot be checked, " + anchors.error().text,
                       "give the certificate of the signers' authority in PEM",
                       base::Reason::trustMissing);
    }
    const UniqueCertificates enclosed(CMS_get1_certs(manifest.cms.get()));
    const UniqueVerification verification(X509_STORE_CTX_new());
    if (!verification ||
        X509_STORE_CTX_init(verification.get(), nullptr, manifest.signer, enclosed.get()) != 1) {
        return refusal("its signer cannot be checked (" + opensslReason() + ")", "try again");
    }
    X509_STORE_CTX_set0_trusted_stack(verification.get(), anchors->get());
    X509_VERIFY_PARAM *const rules = X509_STORE_CTX_get0_param(verification.get());
    // No times: a clock at 1970 must not lock a node out, nor a certificate that ran out since.
    // Partial: whatever stands in the file is an authority, also where another one issued it.
    X509_VERIFY_PARAM_set_flags(rules, X509_V_FLAG_NO_CHECK_TIME | X509_V_FLAG_PARTIAL_CHAIN);
    X509_VERIFY_PARAM_set_auth_level(rules, kSecurityLevel);
    X509_VERIFY_PARAM_set_depth(rules, kMaxChain);
    if (X509_verify_cert(verification.get()) != 1) {
        const int error = X509_STORE_CTX_get_error(verification.get());
        return refusal("its signer (" + subjectOf(manifest.signer) +
                           ") is not of an authority in " + authority + " (" +
                           X509_verify_cert_error_string(error) + ")",
                       "have it signed by one of these, or give the file of its own",
                       base::Reason::wrongSigner);
    }
    return isForCode(X509_STORE_CTX_get0_chain(verification.get()))
        .orBecause(base::Reason::signerUnfit);
}

} // namespace

base::Result<SignedText> openSignedManifest(const std::string &cms, const std::string &authority) {
    auto read = readSigned(cms);
    if (!read) {
        return read.error().orBecause(base::Reason::signatureWrong);
    }
    if (const auto chain = chainsTo(authority, *read); !chain) {
        return chain.error().orBecause(base::Reason::signatureWrong);
    }
    return SignedText{std::move(read->text), subjectOf(read->signer)};
}

base::Result<SignedText> peekSignedManifest(const std::string &cms) {
    auto read = readSigned(cms);
    if (!read) {
        return read.error().orBecause(base::Reason::signatureWrong);
    }
    return SignedText{std::move(read->text), subjectOf(read->signer)};
}

} // namespace node
