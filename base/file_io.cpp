// SPDX-License-Identifier: MIT
#include "base/file_io.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace base {
namespace {

constexpr mode_t kFileMode = 0644;

bool writeNewFile(const std::string &path, std::string_view text) {
    UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode));
    return file && writeFully(file.get(), text.data(), text.size()) && fsync(file.get()) == 0 &&
           file.reset();
}

} // namespace

UniqueFd &UniqueFd::operator=(UniqueFd &&other) noexcept {
    if (this != &other) {
        reset();
        fd_ = other.release();
    }
    return *this;
}

int UniqueFd::release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
}

bool UniqueFd::reset() {
    const int fd = release();
    return fd < 0 || close(fd) == 0;
}

std::string systemReason(std::string_view what) {
    return std::string(what) + ": " + std::strerror(errno);
}

std::int64_t readFully(int fd, void *buffer, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = read(fd, static_cast<char *>(buffer) + done, size - done);
        if (got == 0) {
            break;
        }
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            return -1;
        }
    }
    return static_cast<std::int64_t>(done);
}

void closeFrom(int first) {
    constexpr int kNoneBeyond = 256;
    for (int descriptor = first; descriptor < kNoneBeyond; ++descriptor) {
        close(descriptor);
    }
}

bool writeFully(int fd, const void *bytes, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t put = write(fd, static_cast<const char *>(bytes) + done, size - done);
        if (put > 0) {
            done += static_cast<std::size_t>(put);
        } else if (put == 0) {
            errno = ENOSPC; // a device that takes nothing is full
            return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

Result<std::string> readWholeFile(const std::string &path, std::size_t limit) {
    // What blocks, or never ends, is nobody's file of settings or state.
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file) {
        return Error{systemReason(path + ": cannot be opened")};
    }
    struct stat status {};
    if (fstat(file.get(), &status) != 0 || !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode))) {
        return Error{path + ": is no regular file; replace it by one"};
    }
    // As large as the file is, and a byte more to see that it did not grow; kernel files say 0.
    const bool sized = S_ISREG(status.st_mode) && status.st_size > 0;
    const std::size_t expected = sized ? static_cast<std::size_t>(std::min<std::uint64_t>(
                                             static_cast<std::uint64_t>(status.st_size), limit))
                                       : limit;
    std::string bytes(expected + 1, '\0');
    const std::int64_t got = readFully(file.get(), bytes.data(), bytes.size());
    if (got < 0) {
        return Error{systemReason(path + ": cannot be read")};
    }
    bytes.resize(static_cast<std::size_t>(got));
    if (sized && bytes.size() > expected && expected < limit) {
        return Error{path + ": it grew while it was read; try again"};
    }
    if (bytes.size() > limit) {
        return Error{path + ": is larger than " + std::to_string(limit) + " bytes"};
    }
    return bytes;
}

bool readPlainFile(const std::string &path, std::size_t limit, std::string &text,
                   struct stat &status) {
    const UniqueFd file(
        open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
    if (!file || fstat(file.get(), &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return false;
    }
    text.resize(limit);
    const std::int64_t got = readFully(file.get(), text.data(), limit);
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return got >= 0;
}

std::string directoryOf(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::optional<std::string> realPathOf(const std::string &path) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr),
                                                           &std::free);
    return real ? std::optional<std::string>(real.get()) : std::nullopt;
}

bool syncDirectoryOf(const std::string &path) {
    const UniqueFd directory(open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory && fsync(directory.get()) == 0;
}

Result<void> renewFile(const std::string &path, std::string_view text) {
    const std::string temporary = path + ".new";
    const bool isWritten = writeNewFile(temporary, text);
    if (isWritten && rename(temporary.c_str(), path.c_str()) == 0) {
        return {};
    }
    Error error{systemReason(isWritten ? path + ": cannot be replaced"
                                       : temporary + ": cannot be written")};
    unlink(temporary.c_str());
    return error;
}

Result<void> replaceFile(const std::string &path, std::string_view text) {
    return renewFile(path, text).andThen([&]() -> Result<void> {
        return syncDirectoryOf(path)
                   ? Result<void>()
                   : Error{
                         systemReason(path + ": was replaced, but its directory cannot be synced")};
    });
}

} // namespace base
