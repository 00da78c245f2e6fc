// SPDX-License-Identifier: MIT
#include "node/read_back.h"

#include "base/timed.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <new>
#include <system_error>
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

ReadBack::ReadBack(base::UniqueFd bank, std::string path, std::uint64_t payloadSize,
                   std::uint64_t imageSize)
    : path_(std::move(path)), size_(imageSize), bank_(std::move(bank)), sums_(payloadSize) {}

base::Result<void> ReadBack::start() {
    for (AlignedBytes &buffer : buffers_) {
        buffer = alignedBytes(kPieceSize);
    }
    try {
        summer_ = std::jthread([this](const std::stop_token &stop) { sumAll(stop); });
        reader_ = std::jthread([this](const std::stop_token &stop) { readAll(stop); });
    } catch (const std::system_error &error) {
        return base::Error{path_ + " cannot be read back, no thread can be started: " +
                           error.code().message() + "; look for what uses up the threads"};
    }
    return {};
}

void ReadBack::synced(std::uint64_t end) { reach(synced_, end); }

base::Result<void> ReadBack::finish() {
    reader_.join();
    if (!readIt_) {
        summer_.request_stop();
    }
    summer_.join();
    return readIt_;
}

void ReadBack::readAll(const std::stop_token &stop) {
    for (std::uint64_t offset = 0; offset < size_; offset += kPieceSize) {
        const std::size_t wanted = sizeAt(offset);
        if (!wait(stop, [&] {
                return synced_ >= offset + wanted && offset - summed_ < kBuffers * kPieceSize;
            })) {
            return;
        }
        if (!base::timed(timeToRead_, [&] { return bank_.read(bufferOf(offset), wanted); })) {
            const std::string why =
                errno == 0
                    ? path_ + ": ends before its " + std::to_string(size_) + " bytes were read back"
                    : base::systemReason(path_ + ": cannot be read back");
            readIt_ = base::Error{why + "; check the device"};
            return;
        }
        reach(read_, offset + wanted);
    }
}

void ReadBack::sumAll(const std::stop_token &stop) {
    for (std::uint64_t offset = 0; offset < size_; offset += kPieceSize) {
        const std::size_t wanted = sizeAt(offset);
        if (!wait(stop, [&] { return read_ >= offset + wanted; })) {
            return;
        }
        base::timed(timeToSum_, [&] {
            sums_.add(bufferOf(offset), wanted);
            return true;
        });
        reach(summed_, offset + wanted);
    }
}

bool ReadBack::wait(const std::stop_token &stop, const std::function<bool()> &isSo) {
    std::unique_lock lock(mutex_);
    return changed_.wait(lock, stop, isSo);
}

void ReadBack::reach(std::uint64_t &mark, std::uint64_t end) {
    {
        const std::lock_guard lock(mutex_);
        mark = end;
    }
    changed_.notify_all();
}

std::size_t ReadBack::sizeAt(std::uint64_t offset) const {
    return static_cast<std::size_t>(std::min<std::uint64_t>(size_ - offset, kPieceSize));
}

char *ReadBack::bufferOf(std::uint64_t offset) const {
    return buffers_.at(offset / kPieceSize % kBuffers).get();
}

} // namespace node
