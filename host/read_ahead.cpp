// SPDX-License-Identifier: MIT
// A download's connection takes two records of TLS from its socket at once, instead of the five
// bytes of each one's header and its body by a call each, with a poll() before. The agent's library
// finds this name, as libcurl does, in this executable before that of libssl.
#include <cstddef>
#include <dlfcn.h>
#include <openssl/ssl.h>

namespace host {
namespace {

// Two of the largest records, as they come: all that is behind the first one is moved in memory.
constexpr std::size_t kRecords = 2 * (SSL3_RT_MAX_PLAIN_LENGTH + 256);

template <typename Function>
Function *libssls(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// What is needed of libssl, which is here as long as libcurl is.
struct Libssl {
    int (*pending)(const SSL *) = libssls<int(const SSL *)>("SSL_pending");
    int (*hasPending)(const SSL *) = libssls<int(const SSL *)>("SSL_has_pending");
    int (*readsAhead)(const SSL *) = libssls<int(const SSL *)>("SSL_get_read_ahead");
    void (*readAhead)(SSL *, int) = libssls<void(SSL *, int)>("SSL_set_read_ahead");
    void (*holdAtLeast)(SSL *, std::size_t) =
        libssls<void(SSL *, std::size_t)>("SSL_set_default_read_buffer_len");

    bool isWhole() const {
        return hasPending != nullptr && readsAhead != nullptr && readAhead != nullptr &&
               holdAtLeast != nullptr;
    }
};

} // namespace
} // namespace host

/*
 * libcurl asks behind each record whether there is more to read, and waits for the socket where
 * there is not. So the answer covers what was read ahead and waits, of a part of a record too:
 * reading that says by itself that the rest is yet to come. And nothing is read ahead for anybody
 * who does not ask.
 */
extern "C" int SSL_pending(const SSL *connection) {
    static const host::Libssl libssl;
    if (!libssl.isWhole()) {
        return libssl.pending == nullptr ? 0 : libssl.pending(connection);
    }
    if (libssl.readsAhead(connection) == 0) {
        auto *const changed = const_cast<SSL *>(connection);
        libssl.holdAtLeast(changed, host::kRecords);
        libssl.readAhead(changed, 1);
    }
    return libssl.hasPending(connection);
}
