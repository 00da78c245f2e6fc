// SPDX-License-Identifier: MIT
#include "node/image_stream.h"

#include "node/read_back.h"

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

base::Error endsBefore(const std::string &path, std::uint64_t size) {
    return {path + ": ends before its " + std::to_string(size) + " bytes were read"};
}

base::Result<void> readInPieces(int file, const std::string &path, std::uint64_t size,
                                const PieceTaker &take) {
    const AlignedBytes piece = alignedBytes(kPieceSize);
    for (std::uint64_t left = size; left > 0;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, kPieceSize));
        const std::int64_t got = base::readFully(file, piece.get(), wanted);
        if (got < 0) {
            return base::Error{base::systemReason(path + ": cannot be read")};
        }
        if (static_cast<std::size_t>(got) != wanted) {
            return endsBefore(path, size);
        }
        if (auto taken = take(piece.get(), wanted); !taken) {
            return taken;
        }
        left -= wanted;
    }
    return {};
}

base::Result<base::UniqueFd> openImage(const std::string &path) {
    base::UniqueFd image(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!image || fstat(image.get(), &status) != 0) {
        return base::Error{base::systemReason(path + ": the image cannot be opened") +
                           "; give an image file"};
    }
    if (!S_ISREG(status.st_mode) && !S_ISBLK(status.st_mode)) {
        return base::Error{path + ": is no image file; give one"};
    }
    return image;
}

std::string damagedImage(const std::string &path) {
    return path + ": the image is damaged, its payload does not have the SHA-256 sum of its "
                  "manifest; get the image again";
}

base::Result<std::string> readImage(int image, const std::string &path,
                                    const ImageManifest &manifest) {
    if (lseek(image, 0, SEEK_SET) < 0) {
        return base::Error{base::systemReason(path + ": cannot be read")};
    }
    ImageSums sums(manifest.payloadSize);
    const auto sum = [&](const void *piece, std::size_t size) -> base::Result<void> {
        sums.add(piece, size);
        return {};
    };
    if (const auto read = readInPieces(image, path, manifest.imageSize, sum); !read) {
        return read.error();
    }
    if (sums.payload() != manifest.payloadSha256) {
        return base::Error{damagedImage(path), base::Reason::digestWrong};
    }
    return sums.whole();
}

base::Result<BankRecord> recordOfImage(const std::string &imagePath) {
    const auto image = openImage(imagePath);
    if (!image) {
        return image.error();
    }
    const auto manifest = readImageManifest(image->get(), imagePath, ImageTrust{false});
    if (!manifest) {
        return manifest.error();
    }
    const auto sha256 = readImage(image->get(), imagePath, *manifest);
    if (!sha256) {
        return sha256.error();
    }
    return BankRecord{true, manifest->version, manifest->imageSize, *sha256};
}

} // namespace node
