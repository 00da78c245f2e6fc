// SPDX-License-Identifier: MIT
#include "node/boot_environment.h"

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
#include <libuboot.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace node {
namespace {

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

    /* Error: the lock cannot be had. Else 0, -ENODATA where no copy is whole, or another negated
     * errno. */
    base::Result<int> open() {
        if (const auto locked = takeLock(); !locked) {
            return locked.error();
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
    base::Result<void> takeLock() {
        const auto taken = lock_.take(kLibraryLock, kLockPatience);
        if (taken || lock_.obstacle() == base::LockFile::Obstacle::noPlace) {
            return {};
        }
        return taken.error()
            .within(place_.name() + (lock_.obstacle() == base::LockFile::Obstacle::holder
                                         ? ": the boot state is in use: "
                                         : ": the boot state cannot be locked: "))
            .orBecause(base::Reason::bootStateLocked);
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

base::Error errorOf(const BootPlace &place, int result) {
    if (result == -ENODATA) {
        return {place.name() + ": no copy of the boot state is whole" + kWriteItAnew};
    }
    const std::string why = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    if (place.file.empty()) {
        return {place.name() + ": the boot state cannot be read" + why +
                "; check the devices that it names"};
    }
    return {place.name() + ": the boot state " +
            (errno == 0 ? std::string("is cut: it is shorter than its two copies") + kWriteItAnew
                        : "cannot be read" + why)};
}

// Writes one copy, the one that is not in use, and knows it to be on the disk.
base::Result<void> storeOneCopy(const BootPlace &place, const BootVariables &changes, bool isNew) {
    std::vector<BootCopy> copies;
    OpenCopies files;
    if (auto opened = bootCopies(place, copies).andThen([&] { return files.open(copies); });
        !opened) {
        return opened;
    }
    {
        Environment environment(place);
        const auto result = environment.open();
        if (!result) {
            return result.error();
        }
        if (*result != 0 && !(isNew && *result == -ENODATA)) {
            return errorOf(place, *result);
        }
        errno = 0;
        if (!environment.store(changes)) {
            return base::Error{
                place.name() + ": the boot state cannot be written" +
                (errno == 0 ? ", it may be too large" : std::string(": ") + std::strerror(errno))};
        }
    }
    return files.sync();
}

base::Result<void> holds(const BootPlace &place, const BootVariables &changes) {
    BootFindings findings;
    const auto stored = readBootEnvironment(place, &findings);
    if (!stored) {
        return stored.error();
    }
    for (const auto &[name, value] : changes) {
        const auto found = stored->find(name);
        if ((found == stored->end() ? "" : found->second) != value) {
            return base::Error{place.name() +
                               ": does not hold what was written to it; check the device"};
        }
    }
    if (!findings.damages.empty()) {
        return base::Error{findings.damages.front() +
                           " although it was just written; check the device"};
    }
    return {};
}

base::Result<void> storeBothCopies(const BootPlace &place, const BootVariables &changes,
                                   bool isNew) {
    return storeOneCopy(place, changes, isNew)
        .andThen([&] { return storeOneCopy(place, changes, false); })
        .andThen([&] { return holds(place, changes); });
}

// A file of a new name, which becomes `name`.
bool makeUnfinished(std::string &name) {
    base::UniqueFd file(mkostemp(name.data(), O_CLOEXEC));
    const std::string zeros(2 * kEnvironmentCopy, '\0');
    return file && fchmod(file.get(), kFileMode) == 0 &&
           base::writeFully(file.get(), zeros.data(), zeros.size()) && file.reset();
}

// Under its name only once it is whole. What links lead to was judged by whoever named the path.
base::Result<void> makeFile(const std::string &path, const BootVariables &variables) {
    struct stat status {};
    const bool isThere = lstat(path.c_str(), &status) == 0;
    if (isThere && (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))) {
        return base::Error{path + ": is no regular file and is not replaced by one; name another, "
                                  "or for devices fw_env.config:FILE, a FILE that names them"};
    }
    const std::string target = base::realPathOf(path).value_or(path);
    std::string unfinished = target + ".XXXXXX";
    base::Result<void> made;
    if (!makeUnfinished(unfinished)) {
        made = base::Error{base::systemReason(path + ": cannot be written")};
    } else if (made = storeBothCopies(unfinished, variables, true); made) {
        if (rename(unfinished.c_str(), target.c_str()) == 0 && base::syncDirectoryOf(target)) {
            return {};
        }
        made = base::Error{base::systemReason(path + ": cannot be made")};
    }
    unlink(unfinished.c_str());
    return made;
}

} // namespace

base::Result<BootVariables> readBootEnvironment(const BootPlace &place, BootFindings *findings) {
    std::vector<BootCopy> copies;
    if (const auto named = bootCopies(place, copies); !named) {
        return named.error();
    }
    // Without a lock both copies may be in a writer's hands for a moment.
    for (int reading = 0; reading < kReadings; ++reading) {
        CopiesView view = lookAtCopies(copies);
        if (view.variables) {
            if (findings != nullptr) {
                *findings = std::move(view.findings);
            }
            return std::move(*view.variables);
        }
        if (!view.whyNotOpened.empty()) {
            return base::Error{view.whyNotOpened};
        }
        nanosleep(&kBetweenReadings, nullptr);
    }
    // A device that only the library can read, or none that can be read: it says why.
    Environment environment(place);
    const auto result = environment.open();
    if (!result) {
        return result.error();
    }
    if (*result != 0) {
        return errorOf(place, *result);
    }
    return environment.variables();
}

base::Result<void> changeBootEnvironment(const BootPlace &place, const BootVariables &changes) {
    if (!place.file.empty() && access(place.file.c_str(), F_OK) != 0) {
        return makeFile(place.file, changes);
    }
    return storeBothCopies(place, changes, false);
}

base::Result<void> makeBootEnvironment(const BootPlace &place, const BootVariables &variables) {
    return place.file.empty() ? storeBothCopies(place, variables, true)
                              : makeFile(place.file, variables);
}

} // namespace node
