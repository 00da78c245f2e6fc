// SPDX-License-Identifier: MIT
#include "base/new_file.h"

#include "base/split.h"
#include "base/trusted_path.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <list>
#include <sys/stat.h>
#include <unistd.h>

namespace base {
namespace {

constexpr int kLook = O_PATH | O_NOFOLLOW | O_CLOEXEC;

// From the root directory, or from where this process is.
UniqueFd beginningOf(const std::string &path) {
    return UniqueFd(open(path.starts_with('/') ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
}

void putAhead(const std::string &path, std::list<std::string> &ahead) {
    const std::vector<std::string> names = namesOf(path);
    ahead.insert(ahead.begin(), names.begin(), names.end());
}

// What the opened link leads to. Empty: errno says why.
std::string targetOf(const UniqueFd &link) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = readlinkat(link.get(), "", target.data(), target.size());
    return {target.data(), length < 0 ? 0 : static_cast<std::size_t>(length)};
}

class Search {
  public:
    explicit Search(const std::string &path) : path_(path), at_(beginningOf(path)) {
        putAhead(path, ahead_);
    }

    Result<OutputPlace> run() {
        while (at_ && !ahead_.empty()) {
            const std::string name = ahead_.front();
            ahead_.pop_front();
            UniqueFd next(openat(at_.get(), name.c_str(), kLook));
            struct stat status {};
            if (next ? fstat(next.get(), &status) != 0 : errno != ENOENT || !ahead_.empty()) {
                break;
            }
            if (next && S_ISLNK(status.st_mode)) {
                if (const auto followed = follow(next, status.st_uid, name); !followed) {
                    return followed.error();
                }
                continue;
            }
            if (ahead_.empty()) {
                if (next && !S_ISREG(status.st_mode)) {
                    return noFile();
                }
                return OutputPlace{std::move(at_), name};
            }
            at_ = std::move(next);
        }
        if (at_ && ahead_.empty() && errno == 0) {
            return noFile();
        }
        return Error{systemReason(path_ + ": cannot be written") + "; check its directory"};
    }

  private:
    Result<void> follow(const UniqueFd &link, uid_t owner, const std::string &name) {
        if (owner != kRoot && owner != geteuid()) {
            return Error{path_ + ": leads through a link of another user (" + name + ", owner " +
                         std::to_string(owner) + "); name the file that you mean"};
        }
        const std::string target = targetOf(link);
        if (target.empty() || ++links_ > kMaxLinks) {
            return Error{path_ + ": leads through a link that leads nowhere (" + name +
                         "); name the file that you mean"};
        }
        if (target.starts_with('/')) {
            at_ = beginningOf(target);
        }
        putAhead(target, ahead_);
        return {};
    }

    Error noFile() const {
        return {path_ + ": is no regular file and is not replaced by one; name another"};
    }

    const std::string &path_;
    std::list<std::string> ahead_;
    UniqueFd at_;
    int links_ = 0;
};

} // namespace

std::string OutputPlace::path() const {
    return "/proc/self/fd/" + std::to_string(directory.get()) + "/" + name;
}

NewFile::~NewFile() {
    if (!unfinished_.empty()) {
        unlink(unfinished_.c_str());
    }
}

Error NewFile::failure() const {
    return {systemReason(path_ + ": cannot be written") +
            "; check its directory and the space there"};
}

Result<void> NewFile::begin(const std::string &path, mode_t mode) {
    path_ = path;
    errno = 0;
    auto place = Search(path).run();
    if (!place) {
        return place.error();
    }
    place_ = std::move(*place);
    std::string name = place_.path() + ".XXXXXX";
    file_ = UniqueFd(mkostemp(name.data(), O_CLOEXEC));
    if (!file_) {
        return failure();
    }
    unfinished_ = name;
    return fchmod(file_.get(), mode) == 0 ? Result<void>() : failure();
}

Result<void> NewFile::write(const void *bytes, std::size_t size) {
    return writeFully(file_.get(), bytes, size) ? Result<void>() : failure();
}

Result<void> NewFile::finish() {
    if (fsync(file_.get()) != 0 || !file_.reset() ||
        rename(unfinished_.c_str(), place_.path().c_str()) != 0) {
        return failure();
    }
    unfinished_.clear();
    return syncDirectoryOf(place_.path()) ? Result<void>() : failure();
}

} // namespace base
