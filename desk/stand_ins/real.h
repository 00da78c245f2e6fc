// SPDX-License-Identifier: MIT
// The C library's own function behind a stand-in of the same name.
#ifndef DESK_STAND_INS_REAL_H
#define DESK_STAND_INS_REAL_H

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

namespace desk {

template <typename Function>
Function *realFunction(const char *name) {
    void *const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) {
        std::fprintf(stderr, "ota-desk-host: the C library has no %s: this desk cannot run here\n",
                     name);
        std::_Exit(EXIT_FAILURE);
    }
    return reinterpret_cast<Function *>(found);
}

} // namespace desk

#endif
