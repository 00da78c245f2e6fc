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

bool copyPayload(int image, const std::string &path, const ImageManifest &manifest,
                 base::NewFile &output, std::string &whatIsWrong) {
    if (lseek(image, 0, SEEK_SET) < 0) {
        whatIsWrong = base::systemReason(path + ": cannot be read");
        return false;
    }
    Sha256 sum;
    const PieceTaker copy = [&](const void *piece, std::size_t size, std::string &wrong) {
        sum.add(piece, size);
        return output.write(piece, size, wrong);
    };
    if (!readInPieces(image, path, manifest.payloadSize, copy, whatIsWrong)) {
        return false;
    }
    if (sum.text() != manifest.payloadSha256) {
        whatIsWrong = damagedImage(path);
        return false;
    }
    return true;
}

} // namespace

bool signImage(const std::string &path, const std::string &output, const SigningFiles &files,
               ImageManifest &manifest, std::string &whatIsWrong) {
    const base::UniqueFd image = openImage(path, whatIsWrong);
    ImageManifest read;
    std::uint64_t size = 0;
    struct stat status {};
    std::string trailer;
    base::NewFile written;
    // The signature first: what is wrong with a key should not be told after minutes of copying.
    if (!image ||
        !readImageManifest(image.get(), path, ImageTrust{false}, read, size, whatIsWrong) ||
        !formatSignedTrailer(read, files, trailer, whatIsWrong)) {
        return false;
    }
    if (fstat(image.get(), &status) != 0) {
        whatIsWrong = base::systemReason(path + ": cannot be read");
        return false;
    }
    if (!written.begin(output, status.st_mode & kPermissions, whatIsWrong) ||
        !copyPayload(image.get(), path, read, written, whatIsWrong) ||
        !written.write(trailer.data(), trailer.size(), whatIsWrong) ||
        !written.finish(whatIsWrong)) {
        return false;
    }
    const base::UniqueFd result = openImage(output, whatIsWrong);
    return result &&
           readImageManifest(result.get(), output, ImageTrust{false}, manifest, size, whatIsWrong);
}

bool verifyImage(const std::string &path, const ImageTrust &trust, ImageManifest &manifest,
                 std::uint64_t &imageSize, std::string &whatIsWrong) {
    const base::UniqueFd image = openImage(path, whatIsWrong);
    const PieceTaker keepNothing = [](const void *, std::size_t, std::string &) { return true; };
    std::string sha256;
    return image && readImageManifest(image.get(), path, trust, manifest, imageSize, whatIsWrong) &&
           readImage(image.get(), path, manifest, imageSize, keepNothing, sha256, whatIsWrong);
}

} // namespace node
