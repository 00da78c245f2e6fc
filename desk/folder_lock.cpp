// SPDX-License-Identifier: MIT
// An advisory lock on an open file.
#include "desk/folder_lock.h"

#include "desk/failure.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace desk {

FolderLock::FolderLock(const std::filesystem::path &file)
    : file_(file), fd_(open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644)) {
    if (fd_ < 0) {
        throw Failure("cannot open " + file.string() + ": " + std::strerror(errno) +
                      "; name a folder of your own with --run-dir");
    }
}

FolderLock::~FolderLock() { close(fd_); }

bool FolderLock::tryLock() const {
    if (flock(fd_, LOCK_EX | LOCK_NB) == 0) {
        return true;
    }
    if (errno != EWOULDBLOCK) {
        throw Failure("cannot lock " + file_.string() + ": " + std::strerror(errno) +
                      "; name a folder on a file system with locks with --run-dir");
    }
    return false;
}

} // namespace desk
