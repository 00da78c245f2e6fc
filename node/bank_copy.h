// SPDX-License-Identifier: MIT
// One pass from an image file into a bank, read back and summed while it is written.
#ifndef NODE_BANK_COPY_H
#define NODE_BANK_COPY_H

#include "base/file_io.h"
#include "base/result.h"
#include "node/image_manifest.h"

#include <chrono>
#include <string>

namespace node {

struct ImageFile {
    std::string path;
    base::UniqueFd file;
    ImageManifest manifest;
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
 * Writes the whole image to the bank's beginning and syncs it. What the bank gives back after that
 * is the image, whose payload has the digest of its manifest; the result is that of all its bytes.
 * Error: the bank holds something else.
 */
base::Result<std::string> copyToBank(const ImageFile &image, base::UniqueFd bank,
                                     const std::string &bankPath, CopyTimes &times);

} // namespace node

#endif
