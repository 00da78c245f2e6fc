// SPDX-License-Identifier: MIT
#include "node/openssl_objects.h"

#include "base/file_io.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace node {
namespace {

constexpr std::size_t kMaxPemFile = 256 * 1024;
constexpr std::size_t kMaxSubject = 256;
constexpr int kLeastRsaBits = 2048;
constexpr std::array<std::string_view, 3> kCurves{"prime256v1", "secp384r1", "secp521r1"};

// Empty where it came as numbers, whatever name would fit them.
std::string curveOf(const EVP_PKEY *key) {
    int byNumbers = 0;
    std::array<char, 80> name{};
    std::size_t size = 0;
    EVP_PKEY_get_int_param(key, OSSL_PKEY_PARAM_EC_DECODED_FROM_EXPLICIT_PARAMS, &byNumbers);
    if (byNumbers != 0 || EVP_PKEY_get_group_name(key, name.data(), name.size(), &size) != 1) {
        ERR_clear_error();
        return "";
    }
    return name.data();
}

} // namespace

UniqueBio readingBio(const std::string &text) {
    return UniqueBio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

std::string textOf(BIO *memory) {
    char *bytes = nullptr;
    const long size = BIO_get_mem_data(memory, &bytes);
    return size > 0 ? std::string(bytes, static_cast<std::size_t>(size)) : std::string();
}

std::string opensslReason() {
    const unsigned long code = ERR_peek_last_error();
    const char *const reason = ERR_reason_error_string(code);
    std::string text = reason != nullptr ? reason : "no reason given";
    ERR_clear_error();
    return text;
}

bool maySignManifests(const EVP_PKEY *key) {
    if (EVP_PKEY_is_a(key, "RSA") == 1 || EVP_PKEY_is_a(key, "RSA-PSS") == 1) {
        return EVP_PKEY_get_bits(key) >= kLeastRsaBits;
    }
    const std::string curve = curveOf(key);
    return EVP_PKEY_is_a(key, "EC") == 1 &&
           std::find(kCurves.begin(), kCurves.end(), curve) != kCurves.end();
}

std::string kindOf(const EVP_PKEY *key) {
    const char *const type = key == nullptr ? nullptr : EVP_PKEY_get0_type_name(key);
    const std::string name = type == nullptr ? "unknown" : type;
    if (name == "EC") {
        const std::string curve = curveOf(key);
        return name + " on " + (curve.empty() ? "a curve without a name" : curve);
    }
    return name.starts_with("RSA")
               ? name + " of " + std::to_string(EVP_PKEY_get_bits(key)) + " bits"
               : name;
}

bool maySignCode(X509 *certificate) {
    const std::uint32_t flags = X509_get_extension_flags(certificate);
    return (flags & EXFLAG_INVALID) == 0 && (flags & EXFLAG_XKUSAGE) != 0 &&
           (X509_get_extended_key_usage(certificate) & XKU_CODE_SIGN) != 0;
}

std::string subjectOf(X509 *certificate) {
    const UniqueBio memory(BIO_new(BIO_s_mem()));
    if (!memory || X509_NAME_print_ex(memory.get(), X509_get_subject_name(certificate), 0,
                                      XN_FLAG_ONELINE) < 0) {
        ERR_clear_error();
        return "(a name that cannot be shown)";
    }
    const std::string subject = textOf(memory.get());
    if (subject.empty()) {
        return "(no name)";
    }
    return subject.size() <= kMaxSubject ? subject : subject.substr(0, kMaxSubject) + " ...";
}

base::Result<UniqueCertificates> readCertificates(const std::string &path) {
    const auto text = base::readWholeFile(path, kMaxPemFile);
    if (!text) {
        return text.error();
    }
    const UniqueBio pem = readingBio(*text);
    UniqueCertificates certificates(sk_X509_new_null());
    if (!pem || !certificates) {
        return base::Error{path + ": there is no memory to read it"};
    }
    ERR_clear_error();
    while (X509 *const certificate = PEM_read_bio_X509(pem.get(), nullptr, nullptr, nullptr)) {
        if (sk_X509_push(certificates.get(), certificate) == 0) {
            X509_free(certificate);
            return base::Error{path + ": there is no memory to read it"};
        }
    }
    // The text ends where no other certificate begins; one that breaks off is another matter.
    const bool ended = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
    const std::string reason = opensslReason();
    if (!ended) {
        return base::Error{path + ": holds a certificate that cannot be read (" + reason + ")"};
    }
    if (sk_X509_num(certificates.get()) == 0) {
        return base::Error{path + ": holds no certificate in PEM"};
    }
    return certificates;
}

} // namespace node
