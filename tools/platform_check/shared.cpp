// SPDX-License-Identifier: MIT
#include "tools/platform_check/shared.h"

#include "base/failure.h"
#include "base/file_io.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <sys/mman.h>

namespace check {

Shared &shared() {
    static Shared *const only = [] {
        void *const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw base::Failure(base::Outcome::failed, base::systemReason("no memory to share"));
        }
        return new (memory) Shared;
    }();
    return *only;
}

void keep(const std::string &text, Text &to) {
    to.fill('\0');
    std::copy_n(text.begin(), std::min(text.size(), to.size() - 1), to.begin());
}

std::string textIn(const Text &text) { return {text.data(), strnlen(text.data(), text.size())}; }

} // namespace check
