// SPDX-License-Identifier: MIT
#include "base/trusted_path.h"

#include "base/file_io.h"
#include "base/split.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <grp.h>
#include <list>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base {
namespace {

constexpr char kSlash = '/';
constexpr mode_t kReadByOthers = S_IRGRP | S_IROTH;
constexpr const char *kEverybodys =
    "is everybody's: name a directory that nobody but the service's user may write";

bool isDirectoryOf(PathPlace place) {
    return place == PathPlace::above || place == PathPlace::around;
}

bool isInNobodyElsesEntry(gid_t group, uid_t user) {
    bool alone = true;
    setpwent();
    while (const passwd *const entry = getpwent()) {
        alone = alone && (entry->pw_gid != group || entry->pw_uid == user);
    }
    endpwent();
    return alone;
}

// The group that bears the user's name and has no other member: what a directory of a user is given
// on systems whose users begin with the umask 0002. Root's is not taken for one: it is other
// daemons' too.
std::optional<gid_t> ownGroupOf(uid_t user) {
    const passwd *const entry = user == kRoot ? nullptr : getpwuid(user);
    if (entry == nullptr) {
        return std::nullopt;
    }
    const std::string name = entry->pw_name;
    const gid_t number = entry->pw_gid;
    const group *const own = getgrgid(number);
    if (own == nullptr || name != own->gr_name) {
        return std::nullopt;
    }
    for (char *const *member = own->gr_mem; *member != nullptr; ++member) {
        if (name != *member) {
            return std::nullopt;
        }
    }
    return isInNobodyElsesEntry(number, user) ? std::optional<gid_t>(number) : std::nullopt;
}

std::optional<gid_t> diskGroup() {
    const group *const disk = getgrnam("disk");
    return disk == nullptr ? std::nullopt : std::optional<gid_t>(disk->gr_gid);
}

PathOwners ownersNow() {
    const uid_t user = geteuid();
    return {user, ownGroupOf(user), diskGroup()};
}

// One path on its way to what it names. `at` is absolute and without links.
class Walk {
  public:
    Walk(const std::string &path, PathPlace end) : owners_(ownersNow()), end_(end) {
        enter(path.starts_with('/') ? path : currentDirectory() + "/" + path);
    }

    std::string run() {
        while (flaw_.empty() && !ahead_.empty()) {
            const std::string name = ahead_.front();
            ahead_.pop_front();
            if (!step(name)) {
                break;
            }
        }
        if (flaw_.empty()) {
            judge(at_, facts_, end_);
        }
        return flaw_;
    }

  private:
    std::string currentDirectory() {
        std::array<char, PATH_MAX> buffer{};
        // One that cannot be reached any more has no name that begins with "/".
        if (getcwd(buffer.data(), buffer.size()) == nullptr || buffer.front() != '/') {
            flaw_ =
                "the directory that relative paths begin at is gone; start in one that is there";
            return "";
        }
        return buffer.data();
    }

    // From the root directory on, or from where the walk is.
    void enter(const std::string &path) {
        const std::vector<std::string> names = namesOf(path);
        ahead_.insert(ahead_.begin(), names.begin(), names.end());
        if (path.starts_with('/')) {
            at_.assign(1, kSlash);
            lookAt(at_);
        }
    }

    // False where the path ends early, since there is nothing of that name.
    bool step(const std::string &name) {
        judge(at_, facts_, PathPlace::above);
        if (!flaw_.empty()) {
            return false;
        }
        if (name == "..") {
            at_ = directoryOf(at_);
            return lookAt(at_);
        }
        const std::string next = (at_ == "/" ? "" : at_) + "/" + name;
        const PathFacts before = facts_;
        if (!lookAt(next)) {
            // Whoever may write the last directory that is there decides what will be there.
            facts_ = before;
            return false;
        }
        if (S_ISLNK(facts_.mode)) {
            return follow(next, before);
        }
        at_ = next;
        return true;
    }

    bool follow(const std::string &link, const PathFacts &directory) {
        judge(link, facts_, PathPlace::above);
        std::array<char, PATH_MAX> target{}; // with a zero behind it, whatever its length
        if (readlink(link.c_str(), target.data(), target.size() - 1) <= 0 || ++links_ > kMaxLinks) {
            flaw_ = link + ": is a link that leads nowhere; name what it should lead to";
            return false;
        }
        facts_ = directory;
        enter(target.data());
        return true;
    }

    bool lookAt(const std::string &path) {
        struct stat status {};
        if (lstat(path.c_str(), &status) == 0) {
            facts_ = {status.st_uid, status.st_gid, status.st_mode};
            return true;
        }
        if (errno != ENOENT && errno != ENOTDIR) {
            flaw_ = systemReason(path + ": cannot be looked at") +
                    "; do this as the service's user, or let that user reach it";
        }
        return false;
    }

    void judge(const std::string &path, const PathFacts &facts, PathPlace place) {
        const char *const flaw = flawOf(facts, place, owners_);
        if (flaw != nullptr && flaw_.empty()) {
            std::array<char, 64> described{};
            std::snprintf(described.data(), described.size(), " (owner %u, mode %04o) ",
                          static_cast<unsigned>(facts.owner),
                          static_cast<unsigned>(facts.mode & 07777U));
            flaw_ = path + described.data() + flaw;
        }
    }

    PathOwners owners_;
    PathPlace end_;
    std::list<std::string> ahead_;
    std::string at_;
    PathFacts facts_; // of `at`
    int links_ = 0;
    std::string flaw_;
};

} // namespace

const char *flawOf(const PathFacts &facts, PathPlace place, const PathOwners &owners) {
    if (facts.owner != kRoot && facts.owner != owners.user) {
        return isDirectoryOf(place)
                   ? "belongs to neither root nor the service's user: name a path that does not "
                     "lead through it, or give it to root with chown"
                   : "belongs to neither root nor the service's user: give it to root with chown, "
                     "or name another";
    }
    const bool mayBeWritten = (facts.mode & (S_IWGRP | S_IWOTH)) != 0;
    // Of a link nothing but the owner counts, and a socket is written to by whoever connects.
    if (!mayBeWritten || S_ISLNK(facts.mode) || place == PathPlace::socket) {
        return nullptr;
    }
    const bool byGroupAlone = (facts.mode & S_IWOTH) == 0;
    if (isDirectoryOf(place)) {
        // What lies in it is renamed and removed by its owner and root alone.
        const bool sticky =
            place == PathPlace::above && (facts.mode & S_ISVTX) != 0 && facts.owner == kRoot;
        const bool privately =
            byGroupAlone && facts.owner == owners.user && facts.group == owners.usersOwnGroup;
        if (sticky || privately) {
            return nullptr;
        }
        return place == PathPlace::around && (facts.mode & S_ISVTX) != 0
                   ? kEverybodys
                   : "may be written by its group or by others: take that away with chmod go-w, or "
                     "name a path that does not lead through it";
    }
    // 0660 root:disk is how Debian makes block devices. Who is in that group writes the disk that
    // root's programs lie on, and is root already: a bank of that kind is in no hands but root's.
    const bool isDevice = S_ISBLK(facts.mode) || S_ISCHR(facts.mode);
    if (isDevice && byGroupAlone && facts.owner == kRoot && facts.group == owners.diskGroup) {
        return nullptr;
    }
    return (facts.mode & S_ISVTX) != 0
               ? kEverybodys
               : "may be written by its group or by others: take that away with chmod go-w, or "
                 "name another";
}

std::string whyNotTrusted(const std::string &path) { return Walk(path, PathPlace::itself).run(); }

std::string whyNoTrustedFile(const std::string &path) {
    std::string flaw = whyNotTrusted(path);
    if (flaw.empty()) {
        flaw = Walk(directoryOf(path), PathPlace::around).run();
    }
    const std::optional<std::string> target = realPathOf(path);
    if (flaw.empty() && target) {
        flaw = Walk(directoryOf(*target), PathPlace::around).run();
    }
    return flaw;
}

std::string whyNotTrustedAbove(const std::string &path) {
    return Walk(directoryOf(path), PathPlace::above).run();
}

std::string whyNoPrivateKey(const std::string &path) {
    std::string flaw = whyNotTrusted(path);
    struct stat status {};
    if (!flaw.empty() || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
        (status.st_mode & kReadByOthers) == 0) {
        return flaw;
    }
    std::array<char, 64> mode{};
    std::snprintf(mode.data(), mode.size(), "%04o", static_cast<unsigned>(status.st_mode & 07777U));
    return path + " (mode " + mode.data() +
           ") is a private key that its group or others may read: chmod go-rwx " + path +
           ", and use another key if somebody may have read it";
}

std::string whyNoTrustedSocket(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return systemReason(path);
    }
    std::string flaw = Walk(path, PathPlace::socket).run();
    if (flaw.empty() && !S_ISSOCK(status.st_mode)) {
        return path + ": is no socket";
    }
    return flaw;
}

} // namespace base
