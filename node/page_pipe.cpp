// SPDX-License-Identifier: MIT
#include "node/page_pipe.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace node {

bool PagePipe::open() {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return false;
    }
    out_ = base::UniqueFd(ends[0]);
    in_ = base::UniqueFd(ends[1]);
    // A small one, where the system allows no more, is slower than copying.
    return fcntl(in_.get(), F_SETPIPE_SZ, static_cast<int>(kSize)) >= static_cast<int>(kSize);
}

std::int64_t PagePipe::fill(int file, std::size_t most) const {
    for (;;) {
        const ssize_t taken = splice(file, nullptr, in_.get(), nullptr, most, 0);
        if (taken >= 0 || errno != EINTR) {
            return taken;
        }
    }
}

} // namespace node
