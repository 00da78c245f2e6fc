// SPDX-License-Identifier: MIT
// Locks that are held, free, or cannot be had.
#include "desk/failure.h"
#include "desk/folder_lock.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

int theError = 0; // 0: the real call

} // namespace

// Stands in for the C library's in this executable.
extern "C" int flock(int fd, int operation) {
    if (theError != 0) {
        errno = theError;
        return -1;
    }
    return static_cast<int>(syscall(SYS_flock, fd, operation));
}

namespace {

namespace fs = std::filesystem;

class FolderLock : public testing::Test {
  protected:
    FolderLock() {
        std::string pattern = (fs::temp_directory_path() / "desk-lock.XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
    }
    ~FolderLock() override {
        theError = 0;
        fs::remove_all(folder_);
    }
    fs::path folder_;
};

std::string failureOf(const fs::path &file) {
    try {
        [[maybe_unused]] const bool locked = desk::FolderLock(file).tryLock();
    } catch (const desk::Failure &failure) {
        return failure.what();
    }
    return "none";
}

TEST_F(FolderLock, OneHoldsItUntilItGoes) {
    {
        const desk::FolderLock first(folder_ / "lock");
        EXPECT_TRUE(first.tryLock());
        EXPECT_FALSE(desk::FolderLock(folder_ / "lock").tryLock());
    }
    EXPECT_TRUE(desk::FolderLock(folder_ / "lock").tryLock());
}

TEST_F(FolderLock, AFileSystemWithoutLocksIsNoOtherHolder) {
    theError = ENOLCK;
    EXPECT_EQ(failureOf(folder_ / "lock"),
              "cannot lock " + (folder_ / "lock").string() +
                  ": No locks available; name a folder on a file system with locks with --run-dir");
}

TEST_F(FolderLock, AFileThatCannotBeOpenedSaysWhatToDo) {
    EXPECT_EQ(failureOf(folder_ / "missing/lock"),
              "cannot open " + (folder_ / "missing/lock").string() +
                  ": No such file or directory; name a folder of your own with --run-dir");
}

} // namespace
