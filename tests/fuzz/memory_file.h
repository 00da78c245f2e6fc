// SPDX-License-Identifier: MIT
// A file without a disk, for subjects that read files.
#ifndef TESTS_FUZZ_MEMORY_FILE_H
#define TESTS_FUZZ_MEMORY_FILE_H

#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace fuzz {

class MemoryFile {
  public:
    MemoryFile() : fd_(memfd_create("fuzz", MFD_CLOEXEC)) {
        if (fd_ < 0) {
            std::abort();
        }
    }
    ~MemoryFile() { close(fd_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    void hold(std::string_view text) const {
        if (ftruncate(fd_, 0) != 0 ||
            pwrite(fd_, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
            std::abort();
        }
    }
    int fd() const { return fd_; }
    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

  private:
    int fd_;
};

} // namespace fuzz

#endif
