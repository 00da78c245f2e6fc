// SPDX-License-Identifier: MIT
#include "node/direct_file.h"

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace node {

void AlignedDelete::operator()(char *bytes) const {
    ::operator delete[](bytes, std::align_val_t(kAlignment));
}

AlignedBytes alignedBytes(std::size_t size) {
    return AlignedBytes(static_cast<char *>(::operator new[](size, std::align_val_t(kAlignment))));
}

DirectFile::DirectFile(base::UniqueFd file) : file_(std::move(file)) {
    const int flags = fcntl(file_.get(), F_GETFL);
    passesCache_ = flags >= 0 && fcntl(file_.get(), F_SETFL, flags | O_DIRECT) == 0;
}

void DirectFile::useCache() {
    const int flags = fcntl(file_.get(), F_GETFL);
    fcntl(file_.get(), F_SETFL, flags & ~O_DIRECT);
    passesCache_ = false;
}

bool DirectFile::write(const char *bytes, std::size_t size) {
    const auto from = static_cast<off_t>(position_);
    for (std::size_t done = 0; done < size;) {
        const std::size_t left = size - done;
        const std::size_t next = passesCache_ ? left / kAlignment * kAlignment : left;
        if (next == 0) {
            useCache();
            continue;
        }
        const ssize_t put = ::write(file_.get(), bytes + done, next);
        if (put > 0) {
            done += static_cast<std::size_t>(put);
            position_ += static_cast<std::size_t>(put);
        } else if (put == 0) {
            errno = ENOSPC; // a device that takes nothing is full
            return false;
        } else if (errno == EINVAL && passesCache_) {
            useCache();
        } else if (errno != EINTR) {
            return false;
        }
    }
    if (!passesCache_) {
        // Only a wish: the device works while the next bytes are fetched.
        sync_file_range(file_.get(), from, static_cast<off_t>(size), SYNC_FILE_RANGE_WRITE);
    }
    return true;
}

bool DirectFile::read(char *buffer, std::size_t wanted) {
    // Only a wish as well: where the cache keeps them, this is what the kernel holds for the bank.
    posix_fadvise(file_.get(), static_cast<off_t>(position_), static_cast<off_t>(wanted),
                  POSIX_FADV_DONTNEED);
    for (std::size_t done = 0; done < wanted;) {
        const std::size_t next = (passesCache_ ? roundedUp(wanted) : wanted) - done;
        const ssize_t got =
            pread(file_.get(), buffer + done, next, static_cast<off_t>(position_ + done));
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0) {
            errno = 0;
            return false;
        } else if (errno == EINVAL && passesCache_) {
            useCache();
        } else if (errno != EINTR) {
            return false;
        }
    }
    position_ += wanted;
    return true;
}

bool DirectFile::sync() { return fsync(file_.get()) == 0; }

bool DirectFile::syncData() { return fdatasync(file_.get()) == 0; }

} // namespace node
