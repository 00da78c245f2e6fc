// SPDX-License-Identifier: MIT
#include "node/image_stream.h"

#include "base/because.h"
#include "node/direct_file.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace node {

void ImageSums::add(const void *piece, std::size_t size) {
    const auto *const bytes = static_cast<const char *>(piece);
    const auto ofPayload = static_cast<std::size_t>(std::min<std::uint64_t>(payloadLeft_, size));
    sum_.add(bytes, ofPayload);
    payloadLeft_ -= ofPayload;
    if (size > ofPayload) {
        static_cast<void>(payload()); // before anything that is not of it
        sum_.add(bytes + ofPayload, size - ofPayload);
        trailer_.append(bytes + ofPayload, size - ofPayload);
    }
}

const std::string &ImageSums::payload() {
    if (payload_.empty() && payloadLeft_ == 0) {
        payload_ = sum_.textSoFar();
    }
    return payload_;
}

std::string ImageSums::whole() {
    static_cast<void>(payload());
    return sum_.text();
}

bool readInPieces(int file, const std::string &path, std::uint64_t size, const PieceTaker &take,
                  std::string &whatIsWrong) {
    const AlignedBytes piece = alignedBytes(kPieceSize);
    for (std::uint64_t left = size; left > 0;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, kPieceSize));
        const std::int64_t got = base::readFully(file, piece.get(), wanted);
        if (got < 0) {
            whatIsWrong = base::systemReason(path + ": cannot be read");
            return false;
        }
        if (static_cast<std::size_t>(got) != wanted) {
            whatIsWrong = path + ": ends before its " + std::to_string(size) + " bytes were read";
            return false;
        }
        if (!take(piece.get(), wanted, whatIsWrong)) {
            return false;
        }
        left -= wanted;
    }
    return true;
}

base::UniqueFd openImage(const std::string &path, std::string &whatIsWrong) {
    base::UniqueFd image(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!image || fstat(image.get(), &status) != 0) {
        whatIsWrong =
            base::systemReason(path + ": the image cannot be opened") + "; give an image file";
        return base::UniqueFd();
    }
    if (!S_ISREG(status.st_mode) && !S_ISBLK(status.st_mode)) {
        whatIsWrong = path + ": is no image file; give one";
        return base::UniqueFd();
    }
    return image;
}

std::string damagedImage(const std::string &path) {
    return path + ": the image is damaged, its payload does not have the SHA-256 sum of its "
                  "manifest; get the image again";
}

bool readImage(int image, const std::string &path, const ImageManifest &manifest,
               std::uint64_t imageSize, const PieceTaker &take, std::string &imageSha256,
               std::string &whatIsWrong) {
    if (lseek(image, 0, SEEK_SET) < 0) {
        whatIsWrong = base::systemReason(path + ": cannot be read");
        return false;
    }
    ImageSums sums(manifest.payloadSize);
    const PieceTaker sumAndTake = [&](const void *piece, std::size_t size, std::string &wrong) {
        sums.add(piece, size);
        return take(piece, size, wrong);
    };
    if (!readInPieces(image, path, imageSize, sumAndTake, whatIsWrong)) {
        return false;
    }
    if (sums.payload() != manifest.payloadSha256) {
        whatIsWrong = damagedImage(path);
        return base::orBecause(false, base::Reason::digestWrong);
    }
    imageSha256 = sums.whole();
    return true;
}

bool recordOfImage(const std::string &imagePath, BankRecord &record, std::string &whatIsWrong) {
    const base::UniqueFd image = openImage(imagePath, whatIsWrong);
    if (!image) {
        return false;
    }
    ImageManifest manifest;
    BankRecord read;
    const PieceTaker keepNothing = [](const void *, std::size_t, std::string &) { return true; };
    if (!readImageManifest(image.get(), imagePath, ImageTrust{false}, manifest, read.size,
                           whatIsWrong) ||
        !readImage(image.get(), imagePath, manifest, read.size, keepNothing, read.sha256,
                   whatIsWrong)) {
        return false;
    }
    read.whole = true;
    read.version = manifest.version;
    record = read;
    return true;
}

} // namespace node
