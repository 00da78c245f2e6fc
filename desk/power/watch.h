// SPDX-License-Identifier: MIT
// What a system call means for the disk, before it happens and after.
#ifndef DESK_POWER_WATCH_H
#define DESK_POWER_WATCH_H

#include "base/disk_calls.h"
#include "desk/power/disk.h"
#include "desk/power/live_faults.h"
#include "desk/power/tracee.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <vector>

namespace power {

struct Call {
    const base::DiskCall *row = nullptr;
    std::array<std::uint64_t, 6> arguments{};

    // 0 where the call has no such argument.
    [[nodiscard]] std::uint64_t argument(int which) const {
        return which == base::kNoArgument ? 0 : arguments.at(static_cast<std::size_t>(which));
    }
};

struct Effect {
    std::filesystem::path path;
    std::optional<Range> range;
    bool counts = true; // as something that a power cut can meet
    // With the result that the program is given: the call does not happen.
    std::optional<std::int64_t> result;
    std::function<void()> before = [] {};
    std::function<void(std::int64_t result)> after = [](std::int64_t) {};
};

class Watch {
  public:
    Watch(Disk &disk, Faults faults) : disk_(disk), faults_(std::move(faults)) {}

    // From now on.
    void setFaults(Faults faults) { faults_ = std::move(faults); }

    // False where the call has nothing to do with the disk for sure.
    [[nodiscard]] bool mayConcern(const Tracee &tracee, const Call &call) const;
    // None where the call does not change the disk, and fails or does nothing.
    std::optional<Effect> examine(const Tracee &tracee, const Call &call);

  private:
    // A file or folder that a call is about.
    struct Target {
        std::filesystem::path path;
        Disk::Medium medium = Disk::Medium::other;
        struct stat status {};
        std::shared_ptr<base::UniqueFd> descriptor; // of our own, opened with O_PATH
    };

    static std::optional<Name> resolved(const Tracee &tracee, const Call &call, int folder,
                                        int path, bool followLink);

    [[nodiscard]] std::optional<Target> targetOf(const Tracee &tracee, int descriptor) const;
    [[nodiscard]] std::optional<Target> targetOf(const Name &name) const;
    [[nodiscard]] Effect effectOn(const std::filesystem::path &path,
                                  std::optional<Range> range = {}) const;
    std::optional<Effect> write(const Tracee &tracee, const Call &call);
    std::optional<Effect> sync(const Tracee &tracee, const Call &call);
    std::optional<Effect> syncAll(const Tracee &tracee, const Call &call);
    std::optional<Effect> resize(const Tracee &tracee, const Call &call);
    std::optional<Effect> open(const Tracee &tracee, const Call &call);
    std::optional<Effect> make(const Tracee &tracee, const Call &call);
    std::optional<Effect> remove(const Tracee &tracee, const Call &call);
    std::optional<Effect> rename(const Tracee &tracee, const Call &call);

    Disk &disk_;
    Faults faults_;
};

} // namespace power

#endif
