// SPDX-License-Identifier: MIT
#include "host/download_file.h"

#include <cstddef>
#include <sys/mman.h>

namespace host {
namespace {

constexpr std::size_t kPiece = 128 * 1024;

// It stays for good, since the agent closes its stream when it likes; pages come with their use.
void *pieces() {
    static void *const memory =
        mmap(nullptr, kPiece, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory;
}

std::FILE *downloaded = nullptr;

} // namespace

void writeInLargePieces(std::FILE *file) {
    const bool isLarge = file != nullptr && pieces() != MAP_FAILED &&
                         std::setvbuf(file, static_cast<char *>(pieces()), _IOFBF, kPiece) == 0;
    downloaded = isLarge ? file : nullptr;
}

bool writeWhatWaits() {
    if (downloaded == nullptr) {
        return true;
    }
    // What could not be written is dropped by the first flush that fails: the next one succeeds.
    if (std::fflush(downloaded) != 0 || std::ferror(downloaded) != 0) {
        return false;
    }
    madvise(pieces(), kPiece, MADV_DONTNEED);
    return true;
}

} // namespace host
