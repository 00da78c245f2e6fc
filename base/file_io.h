// SPDX-License-Identifier: MIT
// Files on the node's storage: whole reads, whole writes, replacement in one step.
#ifndef BASE_FILE_IO_H
#define BASE_FILE_IO_H

#include "base/result.h"

#include <cstddef>
#include <cstdint>
#include <dirent.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace base {

/* Owns a file descriptor; -1 is none. */
class UniqueFd {
  public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd &&other) noexcept : fd_(other.release()) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept;
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release();
    /* False, with errno set, where closing reports a late write error. */
    bool reset();

  private:
    int fd_;
};

/* Closes every descriptor from this one on, in a child that is none of this program any more. */
void closeFrom(int first);

struct DirectoryClose {
    void operator()(DIR *directory) const { closedir(directory); }
};
using UniqueDirectory = std::unique_ptr<DIR, DirectoryClose>;

/* "what: reason of errno". */
std::string systemReason(std::string_view what);

/* Fills the buffer unless the file ends first. The bytes read, or -1 with errno set. */
std::int64_t readFully(int fd, void *buffer, std::size_t size);
/* Writes every byte, or returns false with errno set. */
bool writeFully(int fd, const void *bytes, std::size_t size);

/* A regular file of at most `limit` bytes; never waits for one. An error names the file. */
Result<std::string> readWholeFile(const std::string &path, std::size_t limit);

/*
 * At most `limit` bytes from the beginning of a regular file, and what the file system tells of it.
 * Waits for nobody: what a link leads to is not read, nor a pipe or a device. False: errno says
 * why.
 */
bool readPlainFile(const std::string &path, std::size_t limit, std::string &text,
                   struct stat &status);

/* Of the file; "." where the path is a name alone. */
std::string directoryOf(const std::string &path);

/* Without links and dots; none: nothing is there, or it cannot be reached. */
std::optional<std::string> realPathOf(const std::string &path);

/* Names that were made, changed or removed beside `path` are on the disk. False: errno says why. */
bool syncDirectoryOf(const std::string &path);

/*
 * Replaces the file: a temporary file beside it, fsync, rename. The new text may be lost in a power
 * cut; after an error the old file stands as it was. An error names the file.
 */
Result<void> renewFile(const std::string &path, std::string_view text);
/* Likewise, and syncs the directory: the new text survives a power cut. After an error it may be
 * there all the same. */
Result<void> replaceFile(const std::string &path, std::string_view text);

} // namespace base

#endif
