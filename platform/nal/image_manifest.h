// SPDX-License-Identifier: MIT
// The manifest at the end of an image file: what the image says about itself.
#ifndef PLATFORM_NAL_IMAGE_MANIFEST_H
#define PLATFORM_NAL_IMAGE_MANIFEST_H

#include <cstdint>
#include <string>

namespace nal {

/*
 * An image file is the payload (a squashfs), the manifest and a footer of 16 bytes. The manifest
 * is lines "name=value"; a reader skips names that it does not know, which leaves room for a
 * signature. The footer is the magic "OTAMANI1", the manifest's length as 4 bytes little-endian
 * and 4 zero bytes.
 */
struct ImageManifest {
    std::string version;           // 1 to 31 of the characters A-Z a-z 0-9 . _ + -
    std::string model;             // 1 to 31 printable characters
    std::uint64_t payloadSize = 0; // bytes
    std::string payloadSha256;     // 64 lower-case hexadecimal digits
};

/*
 * Reads the manifest of an open image file and compares the sizes; the payload itself is not read.
 * False: whatIsWrong is one line naming `path`. imageSize: payload, manifest and footer.
 */
bool readImageManifest(int image, const std::string &path, ImageManifest &manifest,
                       std::uint64_t &imageSize, std::string &whatIsWrong);

/* Manifest and footer as they follow the payload. False: a text of the manifest cannot be used. */
bool formatImageTrailer(const ImageManifest &manifest, std::string &trailer,
                        std::string &whatIsWrong);

} // namespace nal

#endif
