// SPDX-License-Identifier: MIT
// One pass from an image file into a bank, read back and summed while it is written.
#ifndef NODE_BANK_COPY_H
#define NODE_BANK_COPY_H

#include "base/file_io.h"
#include "node/image_manifest.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace node {

struct ImageFile {
    std::string path;
    base::UniqueFd file;
    ImageManifest manifest;
    std::uint64_t size = 0; // bytes: payload, trailer and footer
};

/* Where the time went; the last two ran beside the others. */
struct CopyTimes {
    std::chrono::nanoseconds all{};
    std::chrono::nanoseconds write{};
    std::chrono::nanoseconds sync{};
    std::chrono::nanoseconds readBack{};
    std::chrono::nanoseconds sum{};
};

/*
 * Writes the whole image to the bank's beginning and syncs it. True: what the bank gives back after
 * that is the image, whose payload has the digest of its manifest; sha256 is that of all its bytes.
 * False: whatIsWrong is one line, and the bank holds something else.
 */
bool copyToBank(const ImageFile &image, base::UniqueFd bank, const std::string &bankPath,
                std::string &sha256, CopyTimes &times, std::string &whatIsWrong);

} // namespace node

#endif
