// SPDX-License-Identifier: MIT
// One pass over an image file: its digests, and each piece to whoever takes it.
#ifndef NODE_IMAGE_STREAM_H
#define NODE_IMAGE_STREAM_H

#include "base/file_io.h"
#include "node/boot_state.h"
#include "node/digest.h"
#include "node/image_manifest.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace node {

/* Takes one piece; an error ends the pass. */
using PieceTaker = std::function<base::Result<void>(const void *piece, std::size_t size)>;

/* What is read or written at once, at most. A whole number of blocks of any device. */
constexpr std::size_t kPieceSize = 128 * 1024;

/* The digests of payload and whole image, of bytes that are given in order and hashed once. */
class ImageSums {
  public:
    explicit ImageSums(std::uint64_t payloadSize) : payloadLeft_(payloadSize) {}

    void add(const void *piece, std::size_t size);

    /* As 64 lower-case hexadecimal digits; empty until all of the payload was given. */
    const std::string &payload();
    /* Of all that was given; nothing may be given afterwards. */
    std::string whole();
    /* What was given behind the payload. */
    const std::string &trailer() const { return trailer_; }

  private:
    Sha256 sum_;
    std::uint64_t payloadLeft_;
    std::string payload_;
    std::string trailer_;
};

/* What is wrong with a file that has fewer bytes than it had. */
base::Error endsBefore(const std::string &path, std::uint64_t size);

/* Reads the file's next `size` bytes in pieces; its errors name `path`. */
base::Result<void> readInPieces(int file, const std::string &path, std::uint64_t size,
                                const PieceTaker &take);

/* An image file, or a bank that holds one; what could block its reader is refused. */
base::Result<base::UniqueFd> openImage(const std::string &path);

/* The line for an image whose payload has another digest than its manifest says. */
std::string damagedImage(const std::string &path);

/*
 * Reads the image of this manifest from its beginning and compares the payload with it. The digest
 * of all the bytes, manifest and footer included.
 */
base::Result<std::string> readImage(int image, const std::string &path,
                                    const ImageManifest &manifest);

/* What a bank holds once the image file was written to it as it is. Reads the whole image. */
base::Result<BankRecord> recordOfImage(const std::string &imagePath);

} // namespace node

#endif
