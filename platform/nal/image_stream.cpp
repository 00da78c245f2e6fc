// SPDX-License-Identifier: MIT
// One pass over an image file: both digests, and each piece to whoever takes it.
#include "platform/nal/image_stream.h"

#include "platform/nal/digest.h"
#include "platform/nal/file_io.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace nal {
namespace {

constexpr std::uint64_t kPieceSize = 256 * 1024;

} // namespace

bool readInPieces(int file, const std::string &path, std::uint64_t size, const PieceTaker &take,
                  std::string &whatIsWrong) {
    std::vector<char> piece(kPieceSize);
    for (std::uint64_t left = size; left > 0;) {
        const auto wanted = static_cast<std::size_t>(std::min(left, kPieceSize));
        const std::int64_t got = readFully(file, piece.data(), wanted);
        if (got < 0) {
            whatIsWrong = systemReason(path + ": cannot be read");
            return false;
        }
        if (static_cast<std::size_t>(got) != wanted) {
            whatIsWrong = path + ": ends before its " + std::to_string(size) + " bytes were read";
            return false;
        }
        if (!take(piece.data(), wanted, whatIsWrong)) {
            return false;
        }
        left -= wanted;
    }
    return true;
}

bool readImage(int image, const std::string &path, const ImageManifest &manifest,
               std::uint64_t imageSize, const PieceTaker &take, std::string &imageSha256,
               std::string &whatIsWrong) {
    if (lseek(image, 0, SEEK_SET) < 0) {
        whatIsWrong = systemReason(path + ": cannot be read");
        return false;
    }
    Sha256 whole;
    Sha256 payload;
    std::uint64_t payloadLeft = manifest.payloadSize;
    const PieceTaker sumAndTake = [&](const void *piece, std::size_t size, std::string &wrong) {
        const auto ofPayload = static_cast<std::size_t>(std::min<std::uint64_t>(payloadLeft, size));
        payload.add(piece, ofPayload);
        payloadLeft -= ofPayload;
        whole.add(piece, size);
        return take(piece, size, wrong);
    };
    if (!readInPieces(image, path, imageSize, sumAndTake, whatIsWrong)) {
        return false;
    }
    if (payload.text() != manifest.payloadSha256) {
        whatIsWrong = path + ": the image is damaged, its payload does not have the SHA-256 sum "
                             "of its manifest; get the image again";
        return false;
    }
    imageSha256 = whole.text();
    return true;
}

bool recordOfImage(const std::string &imagePath, BankRecord &record, std::string &whatIsWrong) {
    const UniqueFd image(open(imagePath.c_str(), O_RDONLY | O_CLOEXEC));
    if (!image) {
        whatIsWrong = systemReason(imagePath + ": the image cannot be opened");
        return false;
    }
    ImageManifest manifest;
    BankRecord read;
    const PieceTaker keepNothing = [](const void *, std::size_t, std::string &) { return true; };
    if (!readImageManifest(image.get(), imagePath, manifest, read.size, whatIsWrong) ||
        !readImage(image.get(), imagePath, manifest, read.size, keepNothing, read.sha256,
                   whatIsWrong)) {
        return false;
    }
    read.whole = true;
    read.version = manifest.version;
    record = read;
    return true;
}

} // namespace nal
