// SPDX-License-Identifier: MIT
// A mark in the folder tells that it may be emptied; a lock on the mark, that it is in use.
#include "desk/run_folder.h"

#include "desk/failure.h"
#include "desk/files.h"

#include "base/trusted_path.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace desk {
namespace {

namespace fs = std::filesystem;

constexpr const char *kMark = ".ota-desk-run";
constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;

// Of a link of this user, or of root, what it leads to; another user's is refused when it is
// opened.
fs::path withoutOwnLink(const fs::path &path) {
    struct stat status {};
    std::error_code error;
    if (lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode) ||
        (status.st_uid != geteuid() && status.st_uid != 0)) {
        return path;
    }
    const fs::path target = fs::canonical(path, error);
    return error ? path : target;
}

} // namespace

RunFolder::RunFolder(const fs::path &path) : path_(absolutePath(path)) {
    if (!path_.has_filename()) {
        path_ = path_.parent_path();
    }
    require(base::whyNotTrustedAbove(path_.string()));
    std::error_code error;
    fs::create_directories(path_, error);
    if (error || !fs::is_directory(path_)) {
        throw Failure("cannot make the folder " + path_.string() + ": " +
                      (error ? error.message() : "a file is in its place") +
                      "; name a folder of your own with --run-dir");
    }
    path_ = withoutOwnLink(path_);
    keepToThisUser();
    checkThatItMayBeEmptied();
    lock_.emplace(path_ / kMark);
    if (!lock_->tryLock()) {
        throw Failure("another run is using " + path_.string() +
                      ": wait for its end, or name another folder with --run-dir");
    }
    empty();
}

// A service does not run where others may write: what they put there would be run by it. Nor is
// anything removed there: they could put another folder in its place meanwhile.
void RunFolder::keepToThisUser() {
    require(base::whyNotTrustedAbove(path_.string()));
    folder_ = base::UniqueFd(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!folder_ || fstat(folder_.get(), &status) != 0) {
        require(path_.string() + ": cannot be opened: " + std::strerror(errno));
    }
    if (status.st_uid == geteuid() && (status.st_mode & kOthersMayWrite) != 0) {
        fchmod(folder_.get(), status.st_mode & ~kOthersMayWrite & 07777U);
    }
    require(base::whyNotTrusted(path_.string()));
}

void RunFolder::require(const std::string &flaw) {
    if (!flaw.empty()) {
        throw Failure("a node cannot run in this folder: " + flaw +
                      "; or name a folder of your own with --run-dir");
    }
}

// The folder that was judged, whatever has its name now.
fs::path RunFolder::held() const { return "/proc/self/fd/" + std::to_string(folder_.get()); }

void RunFolder::checkThatItMayBeEmptied() const {
    const fs::path folder = held();
    if (!fs::is_empty(folder) && !fs::exists(folder / kMark)) {
        throw Failure(path_.string() + " holds files that are not of an earlier run: "
                                       "name another folder with --run-dir, or empty it");
    }
}

void RunFolder::empty() const {
    for (const auto &entry : fs::directory_iterator(held())) {
        if (entry.path().filename() != kMark) {
            fs::remove_all(entry.path());
        }
    }
}

} // namespace desk
