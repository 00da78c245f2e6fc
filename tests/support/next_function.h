// SPDX-License-Identifier: MIT
// The real function behind a stand-in.
#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ota::test {

// What the C library calls it: where time and files have 64 bits on a 32-bit target, some functions
// have other names than in the source.
inline const char *linkedName(const char *name) {
#if defined(__GLIBC__) && defined(__USE_TIME_BITS64)
    struct Renamed {
        const char *source;
        const char *linked;
    };
    constexpr Renamed kRenamed[] = {
        {"fopen", "fopen64"},
        {"ftruncate", "ftruncate64"},
        {"ioctl", "__ioctl_time64"},
        {"pread", "pread64"},
        {"pwrite", "pwrite64"},
        {"readdir", "readdir64"},
        {"setsockopt", "__setsockopt64"},
        {"stat", "__stat64_time64"},
        {"time", "__time64"},
    };
    for (const Renamed &row : kRenamed) {
        if (std::strcmp(name, row.source) == 0) {
            return row.linked;
        }
    }
#endif
    return name;
}

// Looks the name up in the libraries behind the test executable.
template <class Signature>
Signature *nextFunction(const char *name) {
    void *address = dlsym(RTLD_NEXT, linkedName(name));
    if (address == nullptr) {
        std::fprintf(stderr, "no library behind the test executable has \"%s\"\n", name);
        std::abort();
    }
    return reinterpret_cast<Signature *>(address);
}

} // namespace ota::test
