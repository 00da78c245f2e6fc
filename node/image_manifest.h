// SPDX-License-Identifier: MIT
// The manifest at the end of an image file: what the image says about itself, and who signed it.
// Whole image files are signed anew, and checked to the last byte.
#ifndef NODE_IMAGE_MANIFEST_H
#define NODE_IMAGE_MANIFEST_H

#include "base/result.h"
#include "node/signature.h"

#include <cstdint>
#include <string>

namespace node {

/*
 * An image file is the payload (a squashfs), the trailer and a footer of 16 bytes. The manifest is
 * lines "name=value"; a reader skips names that it does not know. The footer is a magic of 8 bytes,
 * the trailer's length as 4 bytes little-endian and 4 zero bytes. Magic "OTAMANI1": the trailer is
 * the manifest. Magic "OTASIGN1": it is a CMS SignedData (signature.h) that holds the manifest.
 */
struct ImageManifest {
    std::string version;           // 1 to 30 of the characters A-Z a-z 0-9 . _ + -
    std::string model;             // 1 to 31 printable characters
    std::uint64_t payloadSize = 0; // bytes
    std::string payloadSha256;     // 64 lower-case hexadecimal digits
    std::string signer{};          // subject of the signer's certificate; empty: unsigned
    bool signerChecked = false;    // the signer chains to the authority of the trust
    std::uint64_t imageSize = 0;   // bytes of payload, trailer and footer, where it was read
    std::string trailer{};         // with its footer, as it was read and checked
};

/*
 * Reads the manifest of an open image file, compares the sizes and checks the signature as the
 * trust asks; the payload itself is not read. Where no signature is required, an unsigned image is
 * taken, and a signed one with signerChecked false where the trust has no authority: a damaged
 * manifest is refused even then.
 */
base::Result<ImageManifest> readImageManifest(int image, const std::string &path,
                                              const ImageTrust &trust);

/*
 * What follows the payload, footer included. Signer and size of the trailer are not looked at.
 * Error: a text of the manifest cannot be used, or, for a signed one, a file of the signer.
 */
base::Result<std::string> formatImageTrailer(const ImageManifest &manifest);
base::Result<std::string> formatSignedTrailer(const ImageManifest &manifest,
                                              const SigningFiles &files);

/*
 * Each of these reads the whole file, in pieces of constant size, and blocks for as long. Its
 * errors name the file.
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
