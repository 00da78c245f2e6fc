// SPDX-License-Identifier: MIT
#include "node/image_signing.h"

#include "base/new_file.h"
#include "node/digest.h"
#include "node/image_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace node {
namespace {

constexpr mode_t kPermissions = 07777;

base::Result<void> copyPayload(int image, const std::string &path, const ImageManifest &manifest,
                               base::NewFile &output) {
    if (lseek(image, 0, SEEK_SET) < 0) {
        return base::Error{base::systemReason(path + ": cannot be read")};
    }
    Sha256 sum;
    const auto copy = [&](const void *piece, std::size_t size) {
        sum.add(piece, size);
        return output.write(piece, size);
    };
    if (auto read = readInPieces(image, path, manifest.payloadSize, copy); !read) {
        return read;
    }
    if (sum.text() != manifest.payloadSha256) {
        return base::Error{damagedImage(path)};
    }
    return {};
}

} // namespace

base::Result<ImageManifest> signImage(const std::string &path, const std::string &output,
                                      const SigningFiles &files) {
    const auto image = openImage(path);
    if (!image) {
        return image.error();
    }
    auto manifest = readImageManifest(image->get(), path, ImageTrust{false});
    if (!manifest) {
        return manifest;
    }
    // The signature first: what is wrong with a key should not be told after minutes of copying.
    const auto trailer = formatSignedTrailer(*manifest, files);
    if (!trailer) {
        return trailer.error();
    }
    struct stat status {};
    if (fstat(image->get(), &status) != 0) {
        return base::Error{base::systemReason(path + ": cannot be read")};
    }
    base::NewFile written;
    const auto made =
        written.begin(output, status.st_mode & kPermissions)
            .andThen([&] { return copyPayload(image->get(), path, *manifest, written); })
            .andThen([&] { return written.write(trailer->data(), trailer->size()); })
            .andThen([&] { return written.finish(); });
    if (!made) {
        return made.error();
    }
    const auto result = openImage(output);
    return result ? readImageManifest(result->get(), output, ImageTrust{false}) : result.error();
}

base::Result<ImageManifest> verifyImage(const std::string &path, const ImageTrust &trust) {
    const auto image = openImage(path);
    if (!image) {
        return image.error();
    }
    auto manifest = readImageManifest(image->get(), path, trust);
    if (!manifest) {
        return manifest;
    }
    const auto sha256 = readImage(image->get(), path, *manifest);
    return sha256 ? std::move(manifest) : sha256.error();
}

} // namespace node
