// SPDX-License-Identifier: MIT
// Images are built under a working name and renamed: what has its name is whole.
#include "desk/image.h"

#include "desk/child.h"
#include "desk/folder_lock.h"
#include "desk/root_file_system.h"
#include "desk/sizes.h"

#include <chrono>
#include <thread>

namespace desk {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLeastRelease = 16 * kMiB;

} // namespace

Image ImageStore::release(const std::string &version) {
    return make(version, "release.squashfs", kLeastRelease);
}

bool ImageStore::mustBuild(const std::string &version) const {
    // An image of an older tool may be of an older format.
    const fs::path image = imagePath(version);
    return !fs::exists(image) || fs::last_write_time(image) < fs::last_write_time(tool_);
}

fs::path ImageStore::imagePath(const std::string &version) const {
    return folder_ / (version + ".img");
}

Image ImageStore::make(const std::string &version, const std::string &payload,
                       std::uint64_t leastBytes) {
    const fs::path image = imagePath(version);
    fs::create_directories(folder_);
    const FolderLock lock(folder_ / ".lock");
    while (!lock.tryLock()) {
        interrupt_.check();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (mustBuild(version)) {
        const fs::path squashfs = folder_ / payload;
        const fs::path work = folder_ / "work";
        fs::create_directories(work);
        if (!fs::exists(squashfs)) {
            makeRootFileSystem(work, work / payload, leastBytes, interrupt_);
            fs::rename(work / payload, squashfs);
        }
        const fs::path unfinished = work / (version + ".img");
        fs::remove(unfinished);
        runProgram(Launch{{tool_.string(), "make", "--payload", squashfs.string(), "--version",
                           version, "--model", kModel, "--output", unfinished.string()},
                          folder_,
                          folder_ / "ota-image.log"},
                   interrupt_);
        fs::rename(unfinished, image);
    }
    return {image, version, fs::file_size(image)};
}

} // namespace desk
