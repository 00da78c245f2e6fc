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

/* Takes one piece; false, with whatIsWrong set, ends the pass. */
using PieceTaker =
    std::function<bool(const void *piece, std::size_t size, std::string &whatIsWrong)>;

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

/* Reads the file's next `size` bytes in pieces. False: whatIsWrong is one line naming `path`. */
bool readInPieces(int file, const std::string &path, std::uint64_t size, const PieceTaker &take,
                  std::string &whatIsWrong);

/* An image file, or a bank that holds one; what could block its reader is refused. None:
 * whatIsWrong is one line naming `path`. */
base::UniqueFd openImage(const std::string &path, std::string &whatIsWrong);

/* The line for an image whose payload has another digest than its manifest says. */
std::string damagedImage(const std::string &path);

/*
 * Reads the image of imageSize bytes from its beginning, hands every piece to `take` and compares
 * the payload with the manifest. imageSha256: of all the bytes, manifest and footer included.
 */
bool readImage(int image, const std::string &path, const ImageManifest &manifest,
               std::uint64_t imageSize, const PieceTaker &take, std::string &imageSha256,
               std::string &whatIsWrong);

/* What a bank holds once the image file was written to it as it is. Reads the whole image. */
bool recordOfImage(const std::string &imagePath, BankRecord &record, std::string &whatIsWrong);

} // namespace node

#endif
