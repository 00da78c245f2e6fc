// SPDX-License-Identifier: MIT
#include "node/digest.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <openssl/evp.h>

namespace node {
namespace {

// libcrypto refuses SHA-256 only without memory or without its provider: no sum can be trusted.
void require(bool done) {
    if (!done) {
        std::fputs("error: nal: libcrypto cannot compute SHA-256; check its installation\n",
                   stderr);
        std::abort();
    }
}

std::string finalText(evp_md_ctx_st *context) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> sum{};
    unsigned int length = 0;
    require(EVP_DigestFinal_ex(context, sum.data(), &length) == 1);
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        text.push_back(kDigits[sum[i] >> 4]);
        text.push_back(kDigits[sum[i] & 0xF]);
    }
    return text;
}

} // namespace

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
    require(context_ != nullptr && EVP_DigestInit_ex(context_, EVP_sha256(), nullptr) == 1);
}

Sha256::~Sha256() { EVP_MD_CTX_free(context_); }

void Sha256::add(const void *bytes, std::size_t size) {
    require(EVP_DigestUpdate(context_, bytes, size) == 1);
}

std::string Sha256::text() { return finalText(context_); }

std::string Sha256::textSoFar() const {
    Sha256 copy;
    require(EVP_MD_CTX_copy_ex(copy.context_, context_) == 1);
    return copy.text();
}

std::string sha256Of(std::string_view bytes) {
    Sha256 sum;
    sum.add(bytes.data(), bytes.size());
    return sum.text();
}

bool isSha256Text(std::string_view text) {
    return text.size() == Sha256::kTextSize &&
           text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

} // namespace node
