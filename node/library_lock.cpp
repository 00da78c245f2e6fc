// SPDX-License-Identifier: MIT
// The lock that libubootenv takes by itself is one that it is given. The library, which is linked
// in, finds this open() before that of the C library.
#include "node/library_lock.h"

#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <optional>
#include <string_view>

namespace node {
namespace {

thread_local std::optional<int> lockOfThisThread;

// Wherever a distribution has the directory.
bool isLibraryLock(std::string_view path) { return path.ends_with("/fw_printenv.lock"); }

using Open = int (*)(const char *path, int flags, ...);

// Whoever else stands before the C library's function, as a sanitizer does, is not passed by.
Open nextNamed(const char *name, Open own) {
    const auto first = reinterpret_cast<Open>(dlsym(RTLD_DEFAULT, name));
    return first != own ? first : reinterpret_cast<Open>(dlsym(RTLD_NEXT, name));
}

int openFor(Open next, const char *path, int flags, mode_t mode) {
    if (!lockOfThisThread || !isLibraryLock(path)) {
        return next != nullptr ? next(path, flags, mode) : openat(AT_FDCWD, path, flags, mode);
    }
    // Who asks for the reason of a failure shall not be told of this one.
    const int before = errno;
    const int copy = *lockOfThisThread < 0 ? -1 : fcntl(*lockOfThisThread, F_DUPFD_CLOEXEC, 0);
    errno = before;
    return copy;
}

bool hasMode(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

} // namespace

LibraryLock::LibraryLock(int held) { lockOfThisThread = held; }

LibraryLock::~LibraryLock() { lockOfThisThread.reset(); }

} // namespace node

// Under other names here, since the C library's header may have definitions of its own for these.
extern "C" __attribute__((visibility("default"))) int otaOpen(const char *path, int flags,
                                                              ...) __asm__("open");
extern "C" __attribute__((visibility("default"))) int otaOpen64(const char *path, int flags,
                                                                ...) __asm__("open64");

extern "C" int otaOpen(const char *path, int flags, ...) {
    static const node::Open next = node::nextNamed("open", otaOpen);
    mode_t mode = 0;
    if (node::hasMode(flags)) {
        va_list more;
        va_start(more, flags);
        mode = va_arg(more, mode_t);
        va_end(more);
    }
    return node::openFor(next, path, flags, mode);
}

extern "C" int otaOpen64(const char *path, int flags, ...) {
    static const node::Open next = node::nextNamed("open64", otaOpen64);
    mode_t mode = 0;
    if (node::hasMode(flags)) {
        va_list more;
        va_start(more, flags);
        mode = va_arg(more, mode_t);
        va_end(more);
    }
    return node::openFor(next, path, flags, mode);
}
