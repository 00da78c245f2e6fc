// SPDX-License-Identifier: MIT
// One process at a time in a folder.
#ifndef DESK_FOLDER_LOCK_H
#define DESK_FOLDER_LOCK_H

#include <filesystem>

namespace desk {

// Held from construction to destruction, and lost with the process, by a lock on a file.
class FolderLock {
  public:
    explicit FolderLock(const std::filesystem::path &file);
    ~FolderLock();
    FolderLock(const FolderLock &) = delete;
    FolderLock &operator=(const FolderLock &) = delete;

    // False where another process holds it; never waits. Throws a Failure where none can be had.
    [[nodiscard]] bool tryLock() const;

  private:
    std::filesystem::path file_;
    int fd_;
};

} // namespace desk

#endif
