// SPDX-License-Identifier: MIT
// Runs a platform in a process of its own, which may crash, hang, end or be killed.
#ifndef TOOLS_PLATFORM_CHECK_PLAY_H
#define TOOLS_PLATFORM_CHECK_PLAY_H

#include "base/file_io.h"
#include "tools/platform_check/options.h"
#include "tools/platform_check/platform.h"

#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>

namespace check {

using Step = std::function<void(Platform &platform)>;

enum class Opening { none, library, whole };

constexpr int kBriefly = 10; // seconds

class Player {
  public:
    explicit Player(const Options &options);

    /*
     * Opens the platform in a new process, which then does the step. Throws what the step threw,
     * and Wrong where the process did not come to the end of it within so many seconds. In the step
     * nothing else is seen by this process but shared().
     */
    void play(const Step &step, Opening opening = Opening::whole, int seconds = kBriefly);

    /*
     * The same, and the process is killed at the call to the kernel of this number, counted from 1,
     * that changes or syncs a disk while shared().counts. Returns how many of them were seen; the
     * process came to its end where that is less.
     */
    int playKilledAt(const Step &step, int point);

    /* The process of the last step left others behind, which have ended by now. */
    bool leftProcesses() const { return leftProcesses_; }
    /* What it wrote. */
    std::string output() const;
    std::string lastLineOfErrors() const;

  private:
    pid_t start(const Step &step, Opening opening, bool traced);
    [[noreturn]] void beThePlatform(const Step &step, Opening opening, bool traced);
    void judge(int status, int seconds, bool inTime) const;
    void endOthers(pid_t child);

    const Options &options_;
    base::UniqueFd output_;
    base::UniqueFd errors_;
    bool leftProcesses_ = false;
};

} // namespace check

#endif
