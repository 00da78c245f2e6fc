// SPDX-License-Identifier: MIT
// A mark in the folder tells that it may be emptied; a lock on the mark, that it is in use.
#include "desk/run_folder.h"

#include "desk/failure.h"
#include "desk/files.h"

#include "platform/nal/trusted_path.h"

namespace desk {
namespace {

namespace fs = std::filesystem;

constexpr const char *kMark = ".ota-desk-run";

} // namespace

RunFolder::RunFolder(const fs::path &path) : path_(absolutePath(path)) {
    std::error_code error;
    fs::create_directories(path_, error);
    if (error || !fs::is_directory(path_)) {
        throw Failure("cannot make the folder " + path_.string() + ": " +
                      (error ? error.message() : "a file is in its place") +
                      "; name a folder of your own with --run-dir");
    }
    checkThatItMayBeEmptied();
    lock_.emplace(path_ / kMark);
    if (!lock_->tryLock()) {
        throw Failure("another run is using " + path_.string() +
                      ": wait for its end, or name another folder with --run-dir");
    }
    empty();
    keepToThisUser();
}

// A service does not run where others may write: what they put there would be run by it.
void RunFolder::keepToThisUser() const {
    std::error_code error;
    fs::permissions(path_, fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove, error);
    const std::string flaw = nal::whyNotTrusted(path_.string());
    if (!flaw.empty()) {
        throw Failure("a node cannot run in this folder: " + flaw +
                      "; or name a folder of your own with --run-dir");
    }
}

void RunFolder::checkThatItMayBeEmptied() const {
    if (!fs::is_empty(path_) && !fs::exists(path_ / kMark)) {
        throw Failure(path_.string() + " holds files that are not of an earlier run: "
                                       "name another folder with --run-dir, or empty it");
    }
}

void RunFolder::empty() const {
    for (const auto &entry : fs::directory_iterator(path_)) {
        if (entry.path().filename() != kMark) {
            fs::remove_all(entry.path());
        }
    }
}

} // namespace desk
