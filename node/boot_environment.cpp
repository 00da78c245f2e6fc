// SPDX-License-Identifier: MIT
#include "node/boot_environment.h"

#include "base/because.h"
#include "base/file_io.h"
#include "base/lock_file.h"
#include "node/boot_copies.h"
#include "node/library_lock.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <libuboot.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace node {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kFileMode = 0644;
constexpr std::chrono::seconds kLockPatience{10};
constexpr int kReadings = 5;
constexpr timespec kBetweenReadings = {0, 20'000'000};

// One reading of the environment, under the lock that every user of the library takes; where
// nobody can have that, without it, as the library does.
class Environment {
  public:
    explicit Environment(const BootPlace &place) : place_(place) {}
    ~Environment() {
        libuboot_close(context_);
        libuboot_exit(context_);
    }
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;

    /* 0, -ENODATA where no copy is whole, or another negated errno; whatIsWrong is set where the
     * lock cannot be had. */
    int open(std::string &whatIsWrong) {
        if (!takeLock(whatIsWrong)) {
            return -EBUSY;
        }
        const LibraryLock given(lock_.descriptor());
        errno = 0;
        int result = libuboot_initialize(&context_, nullptr);
        if (result == 0) {
            result = place_.file.empty()
                         ? libuboot_read_config(context_, place_.fwEnvConfig.c_str())
                         : configureFile();
        }
        return result == 0 ? libuboot_open(context_) : result;
    }

    BootVariables variables() const {
        BootVariables all;
        for (void *entry = nullptr; (entry = libuboot_iterator(context_, entry)) != nullptr;) {
            all[libuboot_getname(entry)] = libuboot_getvalue(entry);
        }
        return all;
    }

    bool store(const BootVariables &changes) {
        for (const auto &[name, value] : changes) {
            if (libuboot_set_env(context_, name.c_str(), value.empty() ? nullptr : value.c_str()) !=
                0) {
                return false;
            }
        }
        return libuboot_env_store(context_) == 0;
    }

  private:
    bool takeLock(std::string &whatIsWrong) {
        std::string why;
        const base::LockFile::Taken taken = lock_.take(kLibraryLock, kLockPatience, why);
        if (taken == base::LockFile::Taken::yes || taken == base::LockFile::Taken::noPlace) {
            return true;
        }
        whatIsWrong =
            place_.name() +
            (taken == base::LockFile::Taken::held ? ": the boot state is in use: "
                                                  : ": the boot state cannot be locked: ") +
            why;
        base::because(base::Reason::bootStateLocked);
        return false;
    }

    int configureFile() {
        std::string path = place_.file;
        std::array<uboot_env_device, 2> copies{};
        long long offset = 0;
        for (uboot_env_device &copy : copies) {
            copy.devname = path.data();
            copy.offset = offset;
            copy.envsize = kEnvironmentCopy;
            offset += kEnvironmentCopy;
        }
        return libuboot_configure(context_, copies.data());
    }

    const BootPlace &place_;
    base::LockFile lock_;
    uboot_ctx *context_ = nullptr;
};

std::string reasonOf(const BootPlace &place, int result) {
    if (result == -ENODATA) {
        return place.name() + ": no copy of the boot state is whole" + kWriteItAnew;
    }
    const std::string why = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    if (place.file.empty()) {
        return place.name() + ": the boot state cannot be read" + why +
               "; check the devices that it names";
    }
    return place.name() + ": the boot state " +
           (errno == 0 ? std::string("is cut: it is shorter than its two copies") + kWriteItAnew
                       : "cannot be read" + why);
}

// Writes one copy, the one that is not in use, and knows it to be on the disk.
bool storeOneCopy(const BootPlace &place, const BootVariables &changes, bool isNew,
                  std::string &whatIsWrong) {
    std::vector<BootCopy> copies;
    OpenCopies files;
    if (!bootCopies(place, copies, whatIsWrong) || !files.open(copies, whatIsWrong)) {
        return false;
    }
    {
        Environment environment(place);
        std::string inUse;
        const int result = environment.open(inUse);
        if (result != 0 && !(isNew && result == -ENODATA)) {
            whatIsWrong = inUse.empty() ? reasonOf(place, result) : inUse;
            return false;
        }
        errno = 0;
        if (!environment.store(changes)) {
            whatIsWrong =
                place.name() + ": the boot state cannot be written" +
                (errno == 0 ? ", it may be too large" : std::string(": ") + std::strerror(errno));
            return false;
        }
    }
    return files.sync(whatIsWrong);
}

bool holds(const BootPlace &place, const BootVariables &changes, std::string &whatIsWrong) {
    BootVariables stored;
    BootFindings findings;
    if (!readBootEnvironment(place, stored, &findings, whatIsWrong)) {
        return false;
    }
    for (const auto &[name, value] : changes) {
        const auto found = stored.find(name);
        if ((found == stored.end() ? "" : found->second) != value) {
            whatIsWrong = place.name() + ": does not hold what was written to it; check the device";
            return false;
        }
    }
    if (!findings.damages.empty()) {
        whatIsWrong = findings.damages.front() + " although it was just written; check the device";
        return false;
    }
    return true;
}

bool storeBothCopies(const BootPlace &place, const BootVariables &changes, bool isNew,
                     std::string &whatIsWrong) {
    return storeOneCopy(place, changes, isNew, whatIsWrong) &&
           storeOneCopy(place, changes, false, whatIsWrong) && holds(place, changes, whatIsWrong);
}

// A file of a new name, which becomes `name`.
bool makeUnfinished(std::string &name) {
    base::UniqueFd file(mkostemp(name.data(), O_CLOEXEC));
    const std::string zeros(2 * kEnvironmentCopy, '\0');
    return file && fchmod(file.get(), kFileMode) == 0 &&
           base::writeFully(file.get(), zeros.data(), zeros.size()) && file.reset();
}

// Under its name only once it is whole. What links lead to was judged by whoever named the path.
bool makeFile(const std::string &path, const BootVariables &variables, std::string &whatIsWrong) {
    std::error_code error;
    const bool isThere = fs::exists(fs::symlink_status(path, error));
    if (isThere && !fs::is_regular_file(path, error)) {
        whatIsWrong = path + ": is no regular file and is not replaced by one; name another, or "
                             "for devices fw_env.config:FILE, a FILE that names them";
        return false;
    }
    const std::string target = isThere ? fs::canonical(path, error).string() : path;
    std::string unfinished = target + ".XXXXXX";
    if (!makeUnfinished(unfinished)) {
        whatIsWrong = base::systemReason(path + ": cannot be written");
    } else if (storeBothCopies(unfinished, variables, true, whatIsWrong)) {
        if (rename(unfinished.c_str(), target.c_str()) == 0 && base::syncDirectoryOf(target)) {
            return true;
        }
        whatIsWrong = base::systemReason(path + ": cannot be made");
    }
    unlink(unfinished.c_str());
    return false;
}

} // namespace

bool readBootEnvironment(const BootPlace &place, BootVariables &variables, BootFindings *findings,
                         std::string &whatIsWrong) {
    std::vector<BootCopy> copies;
    if (!bootCopies(place, copies, whatIsWrong)) {
        return false;
    }
    // Without a lock both copies may be in a writer's hands for a moment.
    for (int reading = 0; reading < kReadings; ++reading) {
        CopiesView view = lookAtCopies(copies);
        if (view.variables) {
            variables = std::move(*view.variables);
            if (findings != nullptr) {
                *findings = std::move(view.findings);
            }
            return true;
        }
        if (!view.whyNotOpened.empty()) {
            whatIsWrong = view.whyNotOpened;
            return false;
        }
        nanosleep(&kBetweenReadings, nullptr);
    }
    // A device that only the library can read, or none that can be read: it says why.
    Environment environment(place);
    std::string inUse;
    const int result = environment.open(inUse);
    if (result != 0) {
        whatIsWrong = inUse.empty() ? reasonOf(place, result) : inUse;
        return false;
    }
    variables = environment.variables();
    return true;
}

bool changeBootEnvironment(const BootPlace &place, const BootVariables &changes,
                           std::string &whatIsWrong) {
    if (!place.file.empty() && access(place.file.c_str(), F_OK) != 0) {
        return makeFile(place.file, changes, whatIsWrong);
    }
    return storeBothCopies(place, changes, false, whatIsWrong);
}

bool makeBootEnvironment(const BootPlace &place, const BootVariables &variables,
                         std::string &whatIsWrong) {
    return place.file.empty() ? storeBothCopies(place, variables, true, whatIsWrong)
                              : makeFile(place.file, variables, whatIsWrong);
}

} // namespace node
