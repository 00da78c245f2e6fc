// SPDX-License-Identifier: MIT
#include "node/read_back.h"

#include "base/timed.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace node {

void AlignedDelete::operator()(char *bytes) const {
    ::operator delete[](bytes, std::align_val_t(alignment));
}

AlignedBytes alignedBytes(std::size_t size, std::size_t alignment) {
    return {static_cast<char *>(::operator new[](size, std::align_val_t(alignment))),
            AlignedDelete{alignment}};
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

// `put` stores some of the next bytes that it is asked for, as write() does.
template <typename Put>
bool DirectFile::putAll(std::size_t size, const Put &put) {
    const auto from = static_cast<off_t>(position_);
    for (std::size_t done = 0; done < size;) {
        const std::size_t left = size - done;
        const std::size_t next = passesCache_ ? left / kAlignment * kAlignment : left;
        if (next == 0) {
            useCache();
            continue;
        }
        const ssize_t stored = put(done, next);
        if (stored > 0) {
            done += static_cast<std::size_t>(stored);
            position_ += static_cast<std::size_t>(stored);
        } else if (stored == 0) {
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

bool DirectFile::write(const char *bytes, std::size_t size) {
    return putAll(size, [&](std::size_t done, std::size_t next) {
        return ::write(file_.get(), bytes + done, next);
    });
}

bool DirectFile::writeFrom(int pipe, std::size_t size) {
    return putAll(size, [&](std::size_t /*done*/, std::size_t next) {
        return splice(pipe, nullptr, file_.get(), nullptr, next, 0);
    });
}

bool DirectFile::read(char *buffer, std::size_t wanted, std::uint64_t offset) {
    // Only a wish as well: where the cache keeps them, this is what the kernel holds for the bank.
    posix_fadvise(file_.get(), static_cast<off_t>(offset), static_cast<off_t>(wanted),
                  POSIX_FADV_DONTNEED);
    for (std::size_t done = 0; done < wanted;) {
        const bool isDirect = passesCache_; // another reader may change it meanwhile
        const std::size_t next = (isDirect ? roundedUp(wanted) : wanted) - done;
        const ssize_t got =
            pread(file_.get(), buffer + done, next, static_cast<off_t>(offset + done));
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0) {
            errno = 0;
            return false;
        } else if (errno == EINVAL && isDirect) {
            useCache();
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool DirectFile::sync() { return fsync(file_.get()) == 0; }

bool DirectFile::syncData() { return fdatasync(file_.get()) == 0; }

ReadBack::ReadBack(base::UniqueFd bank, std::string path, std::uint64_t payloadSize,
                   std::uint64_t imageSize)
    : path_(std::move(path)), size_(imageSize), bank_(std::move(bank)), sums_(payloadSize) {}

base::Result<void> ReadBack::start() {
    // One large page is one piece of memory for the device, where small ones are hundreds. Only a
    // wish: the kernel may have none.
    memory_ = alignedBytes(kLargePage, kLargePage);
    madvise(memory_.get(), kLargePage, MADV_HUGEPAGE);
    try {
        summer_ = std::jthread([this](const std::stop_token &stop) { sumAll(stop); });
        for (std::jthread &reader : readers_) {
            reader = std::jthread([this](const std::stop_token &stop) { readAll(stop); });
        }
    } catch (const std::system_error &error) {
        return base::Error{path_ + " cannot be read back, no thread can be started: " +
                           error.code().message() + "; look for what uses up the threads"};
    }
    return {};
}

void ReadBack::synced(std::uint64_t end) {
    {
        const std::lock_guard lock(mutex_);
        synced_ = end;
    }
    changed_.notify_all();
}

base::Result<void> ReadBack::finish() {
    for (std::jthread &reader : readers_) {
        reader.join();
    }
    if (!readIt_) {
        summer_.request_stop();
    }
    summer_.join();
    return readIt_;
}

void ReadBack::readAll(const std::stop_token &stop) {
    for (std::uint64_t offset = 0; (offset = takeNext(stop)) < size_;) {
        const std::size_t wanted = sizeAt(offset);
        std::chrono::nanoseconds time{};
        if (!base::timed(time, [&] { return bank_.read(bytesAt(offset), wanted, offset); })) {
            fail(errno == 0 ? path_ + ": ends before its " + std::to_string(size_) +
                                  " bytes were read back"
                            : base::systemReason(path_ + ": cannot be read back"));
            return;
        }
        {
            const std::lock_guard lock(mutex_);
            timeToRead_ += time;
            filledTo_.at(bufferOf(offset)) = offset + wanted;
        }
        changed_.notify_all();
    }
}

std::uint64_t ReadBack::takeNext(const std::stop_token &stop) {
    std::unique_lock lock(mutex_);
    const std::uint64_t offset = taken_;
    if (offset >= size_ || !readIt_) {
        return size_;
    }
    const std::size_t wanted = sizeAt(offset);
    taken_ += wanted;
    const bool mayRead = changed_.wait(lock, stop, [&] {
        return !readIt_ ||
               (synced_ >= offset + wanted && offset < summed_ + kBuffers * std::uint64_t{kPiece});
    });
    return mayRead && readIt_ && !stop.stop_requested() ? offset : size_;
}

// The first reader that fails tells why; the other one ends.
void ReadBack::fail(const std::string &why) {
    {
        const std::lock_guard lock(mutex_);
        if (readIt_) {
            readIt_ = base::Error{why + "; check the device"};
        }
    }
    changed_.notify_all();
}

void ReadBack::sumAll(const std::stop_token &stop) {
    for (std::uint64_t offset = 0; offset < size_;) {
        const std::size_t wanted = sizeAt(offset);
        {
            std::unique_lock lock(mutex_);
            if (!changed_.wait(lock, stop,
                               [&] { return filledTo_.at(bufferOf(offset)) == offset + wanted; })) {
                return;
            }
        }
        base::timed(timeToSum_, [&] {
            sums_.add(bytesAt(offset), wanted);
            return true;
        });
        offset += wanted;
        {
            const std::lock_guard lock(mutex_);
            summed_ = offset;
        }
        changed_.notify_all();
    }
}

std::size_t ReadBack::sizeAt(std::uint64_t offset) const {
    return static_cast<std::size_t>(std::min<std::uint64_t>(size_ - offset, kPiece));
}

} // namespace node
