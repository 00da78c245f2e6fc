// SPDX-License-Identifier: MIT
// Whole image files: signed anew, and checked to the last byte.
#ifndef NODE_IMAGE_SIGNING_H
#define NODE_IMAGE_SIGNING_H

#include "node/image_manifest.h"

#include <string>

namespace node {

/*
 * Each call reads the whole file, in pieces of constant size, and blocks for as long. Its errors
 * name the file.
 */

/*
 * Writes the image with a signature by these files, in place of one that it may have, to `output`,
 * which may be the image itself: what has that name is whole at any time. A damaged image is not
 * signed. The manifest of the signed image.
 */
base::Result<ImageManifest> signImage(const std::string &path, const std::string &output,
                                      const SigningFiles &files);

/* Checks signature, sizes and payload. */
base::Result<ImageManifest> verifyImage(const std::string &path, const ImageTrust &trust);

} // namespace node

#endif
