// SPDX-License-Identifier: MIT
// One pass over an image file: both digests, and each piece to whoever takes it.
#ifndef PLATFORM_NAL_IMAGE_STREAM_H
#define PLATFORM_NAL_IMAGE_STREAM_H

#include "platform/nal/boot_state.h"
#include "platform/nal/image_manifest.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace nal {

/* Takes one piece; false, with whatIsWrong set, ends the pass. */
using PieceTaker =
    std::function<bool(const void *piece, std::size_t size, std::string &whatIsWrong)>;

/* Reads the file's next `size` bytes in pieces. False: whatIsWrong is one line naming `path`. */
bool readInPieces(int file, const std::string &path, std::uint64_t size, const PieceTaker &take,
                  std::string &whatIsWrong);

/*
 * Reads the image of imageSize bytes from its beginning, hands every piece to `take` and compares
 * the payload with the manifest. imageSha256: of all the bytes, manifest and footer included.
 */
bool readImage(int image, const std::string &path, const ImageManifest &manifest,
               std::uint64_t imageSize, const PieceTaker &take, std::string &imageSha256,
               std::string &whatIsWrong);

/* What a bank holds once the image file was written to it as it is. Reads the whole image. */
bool recordOfImage(const std::string &imagePath, BankRecord &record, std::string &whatIsWrong);

} // namespace nal

#endif
