// SPDX-License-Identifier: MIT
// A lock that no other user can hold, whatever stood in the place of its file.
#include "platform/nal/lock_file.h"

#include "fixture.h"

#include <csignal>
#include <filesystem>
#include <functional>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using nal::LockFile;
using Taken = LockFile::Taken;

constexpr auto kNoPatience = std::chrono::milliseconds(0);
constexpr auto kPatience = std::chrono::seconds(60); // of a test that must not need it
constexpr uid_t kNobody = 65534;

// A process that holds a lock of the file until the end of the test, as another user where wanted.
class Holder {
  public:
    Holder(const std::string &path, uid_t user, int kind = LOCK_EX) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        child_ = fork();
        if (child_ == 0) {
            const int file = open(path.c_str(), O_RDONLY);
            const bool holds = file >= 0 && flock(file, kind | LOCK_NB) == 0 && setuid(user) == 0;
            static_cast<void>(write(ends[1], holds ? "y" : "n", 1));
            pause();
            _exit(0);
        }
        char answer = 'n';
        EXPECT_EQ(read(ends[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y');
        close(ends[0]);
        close(ends[1]);
    }
    ~Holder() {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;

    pid_t process() const { return child_; }

  private:
    pid_t child_ = -1;
};

class Lock : public InTemporaryDirectory {
  protected:
    Taken take(LockFile &lock, std::chrono::milliseconds patience = kPatience) {
        whatIsWrong_.clear();
        return lock.take(path_, patience, whatIsWrong_);
    }

    struct stat status() const {
        struct stat found {};
        EXPECT_EQ(lstat(path_.c_str(), &found), 0);
        return found;
    }

    void expectTakenAndSafe() {
        LockFile lock;
        EXPECT_EQ(take(lock), Taken::yes) << whatIsWrong_;
        EXPECT_EQ(status().st_mode, S_IFREG | 0600U);
        EXPECT_EQ(status().st_uid, geteuid());
        EXPECT_EQ(status().st_nlink, 1U);
        LockFile second;
        EXPECT_EQ(take(second, kNoPatience), Taken::held);
        EXPECT_EQ(whatIsWrong_, path_ + ": is held by process " + std::to_string(getpid()) +
                                    "; end that one first");
        lock.release();
        EXPECT_EQ(take(second), Taken::yes) << whatIsWrong_;
        EXPECT_FALSE(std::filesystem::exists(path_ + ".new"));
    }

    std::string path_ = in("state.lock");
    std::string whatIsWrong_;
};

TEST_F(Lock, IsAFileThatNobodyElseCanOpen) { expectTakenAndSafe(); }

TEST_F(Lock, TightensAFileThatOthersCouldOpen) {
    writeText(path_, "");
    for (const mode_t mode : {0644U, 0604U, 0620U}) {
        ASSERT_EQ(chmod(path_.c_str(), mode), 0);
        expectTakenAndSafe();
    }
}

TEST_F(Lock, TakesThePlaceOfWhatIsNotItsFile) {
    writeText(in("precious"), "kept");
    const std::function<void()> puts[] = {
        [&] { std::filesystem::create_symlink(in("precious"), path_); },
        [&] { ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0); },
        [&] { std::filesystem::create_hard_link(in("precious"), path_); },
    };
    for (const auto &put : puts) {
        std::filesystem::remove(path_);
        put();
        expectTakenAndSafe();
        EXPECT_EQ(readText(in("precious")), "kept");
    }
}

TEST_F(Lock, TellsWhatItCannotReplace) {
    std::filesystem::create_directory(path_);
    LockFile lock;
    EXPECT_EQ(take(lock), Taken::no);
    EXPECT_EQ(whatIsWrong_, path_ + ": cannot be opened: Is a directory; a lock file of this "
                                    "service's own user must stand there");
    EXPECT_FALSE(lock);
}

TEST_F(Lock, WaitsForAProcessOfItsOwnUserAlsoInAnOlderFile) {
    for (const mode_t mode : {0600U, 0644U}) {
        std::filesystem::remove(path_);
        writeText(path_, "");
        ASSERT_EQ(chmod(path_.c_str(), mode), 0);
        LockFile lock;
        {
            const Holder holder(path_, geteuid());
            EXPECT_EQ(take(lock, std::chrono::milliseconds(50)), Taken::held);
            EXPECT_EQ(whatIsWrong_, path_ + ": is held by process " +
                                        std::to_string(holder.process()) + "; end that one first");
        }
        EXPECT_EQ(take(lock), Taken::yes) << whatIsWrong_;
    }
}

TEST_F(Lock, IsNotHeldUpByAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can be another user as well";
    }
    for (const int kind : {LOCK_EX, LOCK_SH}) {
        std::filesystem::remove(path_);
        writeText(path_, "");
        ASSERT_EQ(chmod(path_.c_str(), 0644), 0);
        const Holder holder(path_, kNobody, kind);
        expectTakenAndSafe();
    }
}

TEST_F(Lock, TakesThePlaceOfAFileOfAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    writeText(path_, "");
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    ASSERT_EQ(chown(path_.c_str(), kNobody, kNobody), 0);
    const Holder holder(path_, kNobody);
    expectTakenAndSafe();
}

} // namespace
