// SPDX-License-Identifier: MIT
// Images are built under a working name and renamed: what has its name is whole.
#include "desk/image.h"

#include "desk/child.h"
#include "desk/failure.h"
#include "desk/files.h"
#include "desk/folder_lock.h"
#include "desk/root_file_system.h"
#include "desk/sizes.h"

#include "node/image_signing.h"

#include <chrono>
#include <thread>
#include <unistd.h>

namespace desk {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLeastRelease = 16 * kMiB;
// The tree, its squashfs and the image, of programs that come in batches.
constexpr std::uint64_t kSpaceFactor = 12;

} // namespace

Image ImageStore::release(const std::string &version) {
    return make(version, "release.squashfs", kLeastRelease);
}

bool ImageStore::mustBuild(const std::string &version) const {
    const fs::path image = imagePath(version);
    const fs::path authority = signer().authority;
    if (!fs::exists(image) || !fs::exists(authority)) {
        return true;
    }
    // An image of an older tool may be of an older format, one older than the key of another.
    const fs::file_time_type built = fs::last_write_time(image);
    return built < fs::last_write_time(tool_) || built < fs::last_write_time(authority);
}

Signer ImageStore::signer() const {
    const fs::path folder = folder_ / "signer";
    return {folder / "ca.pem", folder / "signer.pem", folder / "signer.key"};
}

// All of it or nothing: a key without its certificate would never be used, nor made anew.
void ImageStore::makeSignerOnce() const {
    const fs::path folder = signer().authority.parent_path();
    if (fs::exists(folder)) {
        return;
    }
    const fs::path unfinished = folder_ / "work" / "signer";
    fs::remove_all(unfinished);
    makeSigner(unfinished, interrupt_);
    fs::rename(unfinished, folder);
}

bool ImageStore::mayBuild() const {
    std::error_code error;
    fs::create_directories(folder_ / "work", error);
    const auto open = [&](const char *name) {
        const fs::path path = folder_ / name;
        return access(path.c_str(), W_OK) == 0 || !fs::exists(path);
    };
    return !error && open(".") && open("work") && open(".lock");
}

fs::path ImageStore::imagePath(const std::string &version) const {
    return folder_ / (version + ".img");
}

Image ImageStore::make(const std::string &version, const std::string &payload,
                       std::uint64_t leastBytes) {
    const fs::path image = imagePath(version);
    // What is there is whole and may be of another user, who alone may lock the folder.
    if (!mustBuild(version)) {
        return {image, version, fs::file_size(image)};
    }
    fs::create_directories(folder_);
    const FolderLock lock(folder_ / ".lock");
    while (!lock.tryLock()) {
        interrupt_.check();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (mustBuild(version)) {
        build(version, payload, leastBytes);
    }
    return {image, version, fs::file_size(image)};
}

void ImageStore::build(const std::string &version, const std::string &payload,
                       std::uint64_t leastBytes) {
    const fs::path squashfs = folder_ / payload;
    const fs::path work = folder_ / "work";
    fs::create_directories(work);
    requireSpace(work, leastBytes * kSpaceFactor);
    if (!fs::exists(squashfs)) {
        makeRootFileSystem(work, work / payload, leastBytes, interrupt_);
        fs::rename(work / payload, squashfs);
    }
    makeSignerOnce();
    const fs::path unfinished = work / (version + ".img");
    fs::remove(unfinished);
    runProgram(Launch{{tool_.string(), "make", "--payload", squashfs.string(), "--version", version,
                       "--model", kModel, "--output", unfinished.string()},
                      folder_,
                      folder_ / "ota-image.log"},
               interrupt_);
    signedAgain({unfinished, version}, unfinished, signer());
    fs::rename(unfinished, imagePath(version));
}

Image signedAgain(const Image &image, const fs::path &path, const Signer &signer) {
    const auto manifest = node::signImage(image.path, path, {signer.key, signer.certificate});
    if (!manifest) {
        throw Failure(manifest.error().text);
    }
    return {path, manifest->version, fs::file_size(path)};
}

} // namespace desk
