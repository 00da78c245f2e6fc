// SPDX-License-Identifier: MIT
// A lock between processes of one user, by a file that nobody else can open.
#include "platform/nal/lock_file.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

namespace nal {
namespace {

using Clock = std::chrono::steady_clock;

constexpr mode_t kMode = 0600;
constexpr mode_t kOthers = 0077;
constexpr timespec kBetweenTries = {0, 20'000'000};
constexpr int kMostChanges = 20; // of the file under our hands, before that is given up

bool isSafe(const struct stat &status) {
    return S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1;
}

bool isSameFile(const struct stat &one, const struct stat &other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// As /proc/locks has them; a process of another pid namespace has the number 0 or none.
std::vector<pid_t> holdersOf(const struct stat &file) {
    std::vector<pid_t> holders;
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number;
        std::string kind;
        std::string word;
        pid_t process = 0;
        unsigned device[2] = {0, 0};
        unsigned long inode = 0;
        if (!(words >> number >> kind) || kind != "FLOCK" || !(words >> word >> word) ||
            !(words >> process >> word) ||
            std::sscanf(word.c_str(), "%x:%x:%lu", &device[0], &device[1], &inode) != 3) {
            continue; // also those that wait for it
        }
        if (inode == file.st_ino && makedev(device[0], device[1]) == file.st_dev) {
            holders.push_back(process);
        }
    }
    return holders;
}

bool isAnothers(pid_t process) {
    struct stat status {};
    if (process > 0 && stat(("/proc/" + std::to_string(process)).c_str(), &status) == 0) {
        return status.st_uid != geteuid() && status.st_uid != 0;
    }
    // Others' processes may be hidden; without the right to signal it, it is none of ours.
    return process > 0 && kill(process, 0) != 0 && errno == EPERM;
}

// Where it cannot be told they may be ours.
bool isHeldByOthersOnly(const struct stat &file) {
    const std::vector<pid_t> holders = holdersOf(file);
    return !holders.empty() && std::all_of(holders.begin(), holders.end(), isAnothers);
}

std::string named(const std::vector<pid_t> &holders) {
    return holders.empty() || holders.front() <= 0 ? "another process"
                                                   : "process " + std::to_string(holders.front());
}

bool mayBeOthers(const struct stat &file) { return (file.st_mode & kOthers) != 0; }

// False: errno says why; EWOULDBLOCK where it is held.
bool lockBy(const UniqueFd &file, Clock::time_point deadline) {
    while (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return false;
        }
        if (Clock::now() >= deadline) {
            errno = EWOULDBLOCK;
            return false;
        }
        nanosleep(&kBetweenTries, nullptr);
    }
    return true;
}

// The file that stands there, or a new one. None with errno 0: it just changed, look again.
UniqueFd openOwn(const std::string &path) {
    struct stat status {};
    UniqueFd file;
    if (lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            file = UniqueFd(
                open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode));
            errno = !file && errno == EEXIST ? 0 : errno;
        }
    } else if (!isSafe(status)) {
        errno = unlink(path.c_str()) == 0 || errno == ENOENT ? 0 : errno;
    } else {
        file = UniqueFd(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        errno = !file && (errno == ENOENT || errno == ELOOP) ? 0 : errno;
    }
    return file;
}

// A new file, locked before anybody else can find it, takes the name.
UniqueFd replaced(const std::string &path) {
    const std::string name = path + ".new";
    unlink(name.c_str());
    UniqueFd file(open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode));
    if (file &&
        (flock(file.get(), LOCK_EX | LOCK_NB) != 0 || rename(name.c_str(), path.c_str()) != 0)) {
        const int error = errno;
        unlink(name.c_str());
        file.reset();
        errno = error;
    }
    return file;
}

bool hasTheName(const UniqueFd &file, const std::string &path) {
    struct stat opened {};
    struct stat named {};
    return fstat(file.get(), &opened) == 0 && lstat(path.c_str(), &named) == 0 &&
           isSameFile(named, opened);
}

} // namespace

LockFile::Taken LockFile::take(const std::string &path, std::chrono::milliseconds patience,
                               std::string &whatIsWrong) {
    const Clock::time_point deadline = Clock::now() + patience;
    const auto fail = [&](const char *what) {
        whatIsWrong = systemReason(path + ": " + what) +
                      "; a lock file of this service's own user must stand there";
        release();
        return Taken::no;
    };
    for (int change = 0; change < kMostChanges; ++change) {
        file_ = openOwn(path);
        struct stat opened {};
        if (!file_ && errno == 0) {
            continue;
        }
        if (!file_ || fstat(file_.get(), &opened) != 0) {
            return fail("cannot be opened");
        }
        const auto byOthers = [&] { return mayBeOthers(opened) && isHeldByOthersOnly(opened); };
        const bool locked = lockBy(file_, byOthers() ? Clock::now() : deadline);
        if (!locked && errno != EWOULDBLOCK) {
            return fail("cannot be locked; keep it on a file system with locks");
        }
        if (!locked && !byOthers()) {
            whatIsWrong =
                path + ": is held by " + named(holdersOf(opened)) + "; end that one first";
            release();
            return Taken::held;
        }
        if (mayBeOthers(opened) && hasTheName(file_, path)) {
            older_ = std::move(file_);
            file_ = replaced(path);
            if (!file_) {
                return fail("others may lock it, and it cannot be replaced");
            }
        }
        // The name may have gone to another file while this one was waited for.
        if (hasTheName(file_, path)) {
            return Taken::yes;
        }
    }
    errno = EAGAIN;
    return fail("changes again and again");
}

} // namespace nal
