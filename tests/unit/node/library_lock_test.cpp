// SPDX-License-Identifier: MIT
// libubootenv opens no lock file by itself: it takes the one that it is given.
#include "node/library_lock.h"

#include "base/file_io.h"
#include "fixture.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <libuboot.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::size_t kCopy = 8192;

class TheLibrarysLock : public InTemporaryDirectory {
  protected:
    TheLibrarysLock() {
        writeText(in("environment"), std::string(2 * kCopy, '\0'));
        writeText(in("lock"), "what an opening that empties it takes away");
        held_ = base::UniqueFd(::open(in("lock").c_str(), O_RDWR | O_CLOEXEC));
    }

    // What it says of an empty environment, once it has its lock or goes without.
    int openedByTheLibrary() {
        std::string path = in("environment");
        std::array<uboot_env_device, 2> copies{};
        for (std::size_t i = 0; i < copies.size(); ++i) {
            copies.at(i).devname = path.data();
            copies.at(i).offset = static_cast<long long>(i * kCopy);
            copies.at(i).envsize = kCopy;
        }
        EXPECT_EQ(libuboot_initialize(&context_, nullptr), 0);
        EXPECT_EQ(libuboot_configure(context_, copies.data()), 0);
        return libuboot_open(context_);
    }
    ~TheLibrarysLock() override {
        libuboot_close(context_);
        libuboot_exit(context_);
    }

    bool canBeLocked() const {
        const base::UniqueFd another(::open(in("lock").c_str(), O_RDONLY | O_CLOEXEC));
        return flock(another.get(), LOCK_SH | LOCK_NB) == 0;
    }

    base::UniqueFd held_;
    uboot_ctx *context_ = nullptr;
};

TEST_F(TheLibrarysLock, IsTheOneThatItIsGiven) {
    EXPECT_TRUE(canBeLocked());
    {
        const node::LibraryLock given(held_.get());
        EXPECT_EQ(openedByTheLibrary(), -ENODATA);
    }
    EXPECT_FALSE(canBeLocked()) << "it has locked another file, or none";
    EXPECT_EQ(readText(in("lock")), "what an opening that empties it takes away");
}

TEST_F(TheLibrarysLock, IsNoneWhereThereIsNone) {
    const node::LibraryLock given(-1);
    errno = 0;
    EXPECT_EQ(::open(node::kLibraryLock, O_RDONLY), -1);
    EXPECT_EQ(errno, 0) << "it would be told as the reason of what fails next";
    EXPECT_EQ(openedByTheLibrary(), -ENODATA);
}

TEST_F(TheLibrarysLock, IsGivenInOneThreadAloneAndForThatFileAlone) {
    const auto isGiven = [this](const std::string &path) {
        const base::UniqueFd opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        struct stat one {};
        struct stat other {};
        return opened && fstat(opened.get(), &one) == 0 && fstat(held_.get(), &other) == 0 &&
               one.st_ino == other.st_ino && one.st_dev == other.st_dev;
    };
    const std::string itsFile = in("fw_printenv.lock");
    writeText(itsFile, "");
    {
        const node::LibraryLock given(held_.get());
        EXPECT_TRUE(isGiven(itsFile));
        EXPECT_FALSE(isGiven(in("environment")));
        std::thread([&] { EXPECT_FALSE(isGiven(itsFile)); }).join();
    }
    EXPECT_FALSE(isGiven(itsFile));
}

} // namespace
