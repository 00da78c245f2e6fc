// SPDX-License-Identifier: MIT
// SHA-256 over bytes that arrive in pieces.
#ifndef NODE_DIGEST_H
#define NODE_DIGEST_H

#include <cstddef>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace node {

class Sha256 {
  public:
    static constexpr std::size_t kTextSize = 64;

    Sha256();
    ~Sha256();
    Sha256(const Sha256 &) = delete;
    Sha256 &operator=(const Sha256 &) = delete;

    void add(const void *bytes, std::size_t size);
    /* The sum as 64 lower-case hexadecimal digits; nothing may be added afterwards. */
    std::string text();
    /* The sum of what was added until now; more may be added afterwards. */
    std::string textSoFar() const;

  private:
    evp_md_ctx_st *context_;
};

std::string sha256Of(std::string_view bytes);
/* True for 64 lower-case hexadecimal digits. */
bool isSha256Text(std::string_view text);

} // namespace node

#endif
