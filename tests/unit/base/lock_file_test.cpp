// SPDX-License-Identifier: MIT
// A lock that no other user can hold, whatever stood in the place of its file.
#include "base/lock_file.h"

#include "faults.h"
#include "fixture.h"
#include "tests/support/results.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using base::LockFile;
using Obstacle = LockFile::Obstacle;

constexpr auto kNoPatience = std::chrono::milliseconds(0);
constexpr auto kPatience = std::chrono::seconds(60); // of a test that must not need it
constexpr uid_t kNobody = 65534;

// A process that holds a lock of the file until the end of the test, as another user where wanted.
// Its name is that of a line of /proc/PID/status, with root for its user.
class Holder {
  public:
    Holder(const std::string &path, uid_t user, int kind = LOCK_EX) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        child_ = fork();
        if (child_ == 0) {
            prctl(PR_SET_NAME, "Uid: 0");
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
    Obstacle take(LockFile &lock, std::chrono::milliseconds patience = kPatience) {
        const bool taken = succeeds(lock.take(path_, patience), whatIsWrong_);
        EXPECT_EQ(taken, lock.obstacle() == Obstacle::none);
        return lock.obstacle();
    }

    struct stat status() const {
        struct stat found {};
        EXPECT_EQ(lstat(path_.c_str(), &found), 0);
        return found;
    }

    void expectTakenAndSafe() {
        LockFile lock;
        EXPECT_EQ(take(lock), Obstacle::none) << whatIsWrong_;
        EXPECT_EQ(status().st_mode, S_IFREG | 0600U);
        EXPECT_EQ(status().st_uid, geteuid());
        EXPECT_EQ(status().st_nlink, 1U);
        LockFile second;
        EXPECT_EQ(take(second, kNoPatience), Obstacle::holder);
        EXPECT_EQ(whatIsWrong_, path_ + ": is held by process " + std::to_string(getpid()) +
                                    "; end that one first");
        lock.release();
        EXPECT_EQ(take(second), Obstacle::none) << whatIsWrong_;
        const std::filesystem::directory_iterator names(in(""));
        EXPECT_TRUE(std::none_of(begin(names), end(names), [this](const auto &entry) {
            return entry.path().string().starts_with(path_ + ".");
        }));
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

TEST_F(Lock, TakesThePlaceOfAFullDirectory) {
    std::filesystem::create_directories(path_ + "/full");
    std::filesystem::create_directories(path_ + ".new/full");
    LockFile lock;
    ASSERT_EQ(take(lock), Obstacle::none) << whatIsWrong_;
    EXPECT_EQ(status().st_mode, S_IFREG | 0600U);
}

// A program that runs beside this one may have made a good one since it was looked at.
TEST_F(Lock, IsTakenFromNoneOfItsOwnUser) {
    std::atomic<bool> ended = false;
    std::atomic<int> holders = 0;
    std::thread nuisance([&] {
        while (!ended) {
            mkdir(path_.c_str(), 0777);
            rmdir(path_.c_str());
        }
    });
    std::array<std::thread, 2> takers;
    for (std::thread &taker : takers) {
        taker = std::thread([&] {
            for (int round = 0; round < 200; ++round) {
                LockFile lock;
                if (lock.take(path_, kPatience)) {
                    EXPECT_EQ(++holders, 1);
                    --holders;
                }
            }
        });
    }
    for (std::thread &taker : takers) {
        taker.join();
    }
    ended = true;
    nuisance.join();
}

TEST_F(Lock, TellsWhereThereIsNoPlaceForIt) {
    LockFile lock;
    path_ = in("missing/state.lock");
    EXPECT_EQ(take(lock), Obstacle::noPlace);
    EXPECT_EQ(whatIsWrong_, path_ + ": cannot be made: No such file or directory; a lock file of "
                                    "this service's own user must stand there");
    EXPECT_FALSE(lock);
    if (geteuid() == 0) {
        path_ = in("state.lock");
        ASSERT_EQ(chmod(in("").c_str(), 0755), 0);
        ASSERT_EQ(seteuid(kNobody), 0);
        EXPECT_EQ(take(lock), Obstacle::noPlace);
        ASSERT_EQ(seteuid(0), 0);
    }
}

TEST_F(Lock, ThatCannotBeHadForAnotherReasonIsTold) {
    faults::failFrom(faults::Call::lock, 1, ENOLCK);
    LockFile lock;
    EXPECT_EQ(take(lock), Obstacle::other);
    EXPECT_EQ(whatIsWrong_.find(path_ + ": cannot be locked; keep it on a file system with locks"),
              0U)
        << whatIsWrong_;
    faults::clear();
}

TEST_F(Lock, WaitsForAProcessOfItsOwnUserAlsoInAnOlderFile) {
    for (const mode_t mode : {0600U, 0644U}) {
        std::filesystem::remove(path_);
        writeText(path_, "");
        ASSERT_EQ(chmod(path_.c_str(), mode), 0);
        LockFile lock;
        {
            const Holder holder(path_, geteuid());
            EXPECT_EQ(take(lock, std::chrono::milliseconds(50)), Obstacle::holder);
            EXPECT_EQ(whatIsWrong_, path_ + ": is held by process " +
                                        std::to_string(holder.process()) + "; end that one first");
        }
        EXPECT_EQ(take(lock), Obstacle::none) << whatIsWrong_;
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

// Whom it was left to cannot be told: another user, or a program of root's.
TEST_F(Lock, IsHeldUpForAWhileWhereItsHolderHasEnded) {
    writeText(path_, "");
    ASSERT_EQ(chmod(path_.c_str(), 0644), 0);
    int kept[2] = {-1, -1};
    ASSERT_EQ(pipe(kept), 0);
    const pid_t holder = fork();
    if (holder == 0) {
        const int file = open(path_.c_str(), O_RDONLY);
        const bool holds = file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0;
        if (fork() == 0) {
            char end = 0;
            close(kept[1]);
            static_cast<void>(read(kept[0], &end, 1));
        }
        _exit(holds ? 0 : 1);
    }
    int code = -1;
    ASSERT_EQ(waitpid(holder, &code, 0), holder);
    ASSERT_EQ(code, 0);
    close(kept[0]);
    LockFile lock;
    EXPECT_EQ(take(lock, std::chrono::milliseconds(100)), Obstacle::none) << whatIsWrong_;
    EXPECT_EQ(status().st_mode, S_IFREG | 0600U);
    close(kept[1]);
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
