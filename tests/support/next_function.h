// SPDX-License-Identifier: MIT
// The real function behind a stand-in.
#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace ota::test {

// Looks the name up in the libraries behind the test executable.
template <class Signature>
Signature *nextFunction(const char *name) {
    void *address = dlsym(RTLD_NEXT, name);
    if (address == nullptr) {
        std::fprintf(stderr, "no library behind the test executable has \"%s\"\n", name);
        std::abort();
    }
    return reinterpret_cast<Signature *>(address);
}

} // namespace ota::test
