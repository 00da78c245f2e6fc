// SPDX-License-Identifier: MIT
#include "base/lock_file.h"

#include "base/file_io.h"
#include "base/split.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <linux/fs.h>
#include <optional>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

namespace base {
namespace {

using Clock = std::chrono::steady_clock;

constexpr mode_t kMode = 0600;
constexpr mode_t kOthers = 0077;
constexpr timespec kBetweenTries = {0, 20'000'000};
constexpr std::size_t kMostLocks = 16 * 1024 * 1024;
constexpr std::size_t kMostStatus = 64 * 1024;
constexpr int kMostChanges = 1000; // of the file under our hands, before that is given up

bool isSafe(const struct stat &status) {
    return S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1 &&
           (status.st_mode & kMode) == kMode;
}

bool isSameFile(const struct stat &one, const struct stat &other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// As /proc/locks has them; a process of another pid namespace has the number 0 or none.
std::vector<pid_t> holdersOf(const struct stat &file) {
    std::vector<pid_t> holders;
    const Result<std::string> locks = readWholeFile("/proc/locks", kMostLocks);
    for (const std::string &line : piecesOf(locks ? *locks : "", '\n')) {
        // "1: FLOCK ADVISORY WRITE 4711 08:01:1234 0 EOF"; one that waits has "->" behind its
        // number.
        const std::vector<std::string> words = wordsOf(line);
        unsigned device[2] = {0, 0};
        unsigned long inode = 0;
        if (words.size() > 5 && words[1] == "FLOCK" &&
            std::sscanf(words[5].c_str(), "%x:%x:%lu", &device[0], &device[1], &inode) == 3 &&
            inode == file.st_ino && makedev(device[0], device[1]) == file.st_dev) {
            holders.push_back(std::atoi(words[4].c_str()));
        }
    }
    return holders;
}

bool isOursOrRoots(uid_t user) { return user == geteuid() || user == 0; }

// Its real one: a program that anybody may run with root's rights is still his who ran it.
std::optional<uid_t> userOf(pid_t process) {
    const Result<std::string> status =
        readWholeFile("/proc/" + std::to_string(process) + "/status", kMostStatus);
    // Line by line: a process may be named "Uid: 0".
    for (const std::string &line : piecesOf(status ? *status : "", '\n')) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() > 1 && words[0] == "Uid:") {
            return static_cast<uid_t>(std::strtoul(words[1].c_str(), nullptr, 10));
        }
    }
    return std::nullopt;
}

bool isAnothers(pid_t process) {
    const std::optional<uid_t> user = process > 0 ? userOf(process) : std::nullopt;
    if (user) {
        return !isOursOrRoots(*user);
    }
    // Others' processes may be hidden; without the right to signal it, it is none of ours.
    return process > 0 && kill(process, 0) != 0 && errno == EPERM;
}

// Where it cannot be told they may be ours.
bool isHeldByOthersOnly(const struct stat &file) {
    const std::vector<pid_t> holders = holdersOf(file);
    return !holders.empty() && std::all_of(holders.begin(), holders.end(), isAnothers);
}

// Whoever took it has ended, and left it to a child of any user.
bool isLeftByTheDead(const struct stat &file) {
    const std::vector<pid_t> holders = holdersOf(file);
    return !holders.empty() && std::all_of(holders.begin(), holders.end(), [](pid_t process) {
        return isAnothers(process) || (process > 0 && kill(process, 0) != 0 && errno == ESRCH);
    });
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

bool lockWithin(const UniqueFd &file, const struct stat &opened, Clock::time_point deadline) {
    const bool byOthers = mayBeOthers(opened) && isHeldByOthersOnly(opened);
    return lockBy(file, byOthers ? Clock::now() : deadline);
}

// The file that stands there, or a new one. None with errno 0: it just changed, look again; with
// EEXIST: it is none of ours.
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
        errno = EEXIST;
    } else {
        file = UniqueFd(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        errno = !file && (errno == ENOENT || errno == ELOOP) ? 0 : errno;
    }
    return file;
}

// Whatever has the name has the other one then: a full directory, too, and a folder where
// everybody writes leaves no moment in between. Some file systems can only replace a file.
bool putInPlaceOf(const std::string &name, const std::string &path) {
    // By its number: musl has no function for it.
    return syscall(SYS_renameat2, AT_FDCWD, name.c_str(), AT_FDCWD, path.c_str(),
                   RENAME_EXCHANGE) == 0 ||
           ((errno == EINVAL || errno == ENOSYS) && rename(name.c_str(), path.c_str()) == 0);
}

// Another process of ours may have replaced it a moment before.
bool isGoodLock(const std::string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && isSafe(status) && !mayBeOthers(status);
}

// A full directory stays, under a name that nobody asks for.
void removeIfPossible(const std::string &path) {
    if (unlink(path.c_str()) != 0) {
        rmdir(path.c_str());
    }
}

// A new file, locked before anybody else can find it, takes the name. None: errno says why, 0: look
// again.
UniqueFd replaced(const std::string &path) {
    std::string name = path + ".XXXXXX";
    UniqueFd file(mkostemp(name.data(), O_CLOEXEC));
    if (!file) {
        return file;
    }
    int error = 0;
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0 || !putInPlaceOf(name, path)) {
        error = errno == ENOENT ? 0 : errno;
        file.reset();
    } else if (isGoodLock(name)) {
        putInPlaceOf(name, path);
        file.reset();
    }
    removeIfPossible(name);
    errno = error;
    return file;
}

bool hasTheName(const UniqueFd &file, const std::string &path) {
    struct stat opened {};
    struct stat named {};
    return fstat(file.get(), &opened) == 0 && lstat(path.c_str(), &named) == 0 &&
           isSameFile(named, opened);
}

// Nobody of this user can have it at that moment, whatever program asks.
bool isNoPlaceForIt(int error) {
    return error == ENOENT || error == ENOTDIR || error == EROFS || error == EACCES ||
           error == EPERM || error == ENOSPC || error == EDQUOT;
}

} // namespace

Error LockFile::fail(const std::string &what) {
    obstacle_ = isNoPlaceForIt(errno) ? Obstacle::noPlace : Obstacle::other;
    Error error{systemReason(what) + "; a lock file of this service's own user must stand there"};
    release();
    return error;
}

Result<void> LockFile::take(const std::string &path, std::chrono::milliseconds patience) {
    const Clock::time_point deadline = Clock::now() + patience;
    obstacle_ = Obstacle::none;
    for (int change = 0; change < kMostChanges; ++change) {
        older_.reset();
        file_ = openOwn(path);
        if (!file_ && errno == EEXIST) {
            file_ = replaced(path);
        }
        if (!file_ && errno == 0) {
            continue;
        }
        if (!file_) {
            return fail(path + ": cannot be made");
        }
        struct stat opened {};
        if (fstat(file_.get(), &opened) != 0 || !isSafe(opened)) {
            continue;
        }
        if (!lockWithin(file_, opened, deadline)) {
            if (errno != EWOULDBLOCK) {
                return fail(path + ": cannot be locked; keep it on a file system with locks");
            }
            if (!mayBeOthers(opened) || !isLeftByTheDead(opened)) {
                obstacle_ = Obstacle::holder;
                release();
                return Error{path + ": is held by " + named(holdersOf(opened)) +
                             "; end that one first"};
            }
        }
        if (mayBeOthers(opened) && hasTheName(file_, path)) {
            older_ = std::move(file_);
            file_ = replaced(path);
            if (!file_ && errno != 0) {
                return fail(path + ": others may lock it, and it cannot be replaced");
            }
        }
        // The name may have gone to another file while this one was waited for.
        if (file_ && hasTheName(file_, path)) {
            return {};
        }
    }
    errno = EAGAIN;
    return fail(path + ": changes again and again");
}
} // namespace base
