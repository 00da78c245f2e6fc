// SPDX-License-Identifier: MIT
// Whole image files: signed anew, and checked to the last byte.
#ifndef NODE_IMAGE_SIGNING_H
#define NODE_IMAGE_SIGNING_H

#include "node/image_manifest.h"

#include <cstdint>
#include <string>

namespace node {

/*
 * Each call reads the whole file, in pieces of constant size, and blocks for as long. True, or
 * false with one line in whatIsWrong that names the file.
 */

/*
 * Writes the image with a signature by these files, in place of one that it may have, to `output`,
 * which may be the image itself: what has that name is whole at any time. A damaged image is not
 * signed. manifest: of the signed image.
 */
bool signImage(const std::string &path, const std::string &output, const SigningFiles &files,
               ImageManifest &manifest, std::string &whatIsWrong);

/* Checks signature, sizes and payload. imageSize: payload, trailer and footer. */
bool verifyImage(const std::string &path, const ImageTrust &trust, ImageManifest &manifest,
                 std::uint64_t &imageSize, std::string &whatIsWrong);

} // namespace node

#endif
