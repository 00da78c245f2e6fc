// SPDX-License-Identifier: MIT
// Follows a program and all that it starts, call by call, until they end or the power is cut.
#ifndef DESK_POWER_TRACER_H
#define DESK_POWER_TRACER_H

#include "base/disk_calls.h"
#include "desk/power/live_faults.h"
#include "desk/power/options.h"
#include "desk/power/watch.h"

#include <cstdint>
#include <deque>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>

namespace power {

// The number of each call that changes the disk, and for a person, a journal of them.
class Report {
  public:
    // Empty names: none. Throws a Failure where the journal cannot be made.
    Report(std::string countFile, const std::string &journalFile);

    // Returns its number, from 1.
    std::uint64_t count(const Tracee &tracee, const Call &call, const Effect &effect);
    // The line of the last call that was counted.
    [[nodiscard]] const std::string &lastLine() const { return lastLine_; }
    [[nodiscard]] std::uint64_t counted() const { return count_; }
    // Throws a Failure where the number cannot be written down.
    void close();

  private:
    std::string countFile_;
    std::ofstream journal_;
    std::uint64_t count_ = 0;
    std::string lastLine_;
};

constexpr int kPowerCut = 75; // exit code

class Tracer {
  public:
    Tracer(const Options &options, Disk &disk, Watch &watch, Report &report)
        : options_(options), disk_(disk), watch_(watch), report_(report),
          faultsFile_(options.faultsFile), cutAt_(options.cutAt), mode_(options.mode) {}

    // The exit code: the program's, or kPowerCut. Returns once all that was started has ended.
    int run();

  private:
    struct InFlight {
        Call call;
        Effect effect;
        bool cuts = false; // the power goes when the call has done its work
    };
    enum class Fate { happens, fails, meetsTheCut };

    void ended(pid_t thread, int status);
    void stopped(pid_t thread, int status);
    void resume(pid_t thread, int signal = 0);
    void callBegins(pid_t thread);
    void callEnds(pid_t thread);
    void begin(pid_t thread, const Call &call);
    void letGo(pid_t thread);
    [[nodiscard]] Fate fateOf(std::uint64_t number, base::DiskAct act) const;
    void takeFaults();
    void cutPower();

    const Options &options_;
    Disk &disk_;
    Watch &watch_;
    Report &report_;
    FaultsFile faultsFile_;
    std::optional<std::uint64_t> cutAt_;
    CutMode mode_;
    std::string cutName_;
    bool isReadOnly_ = false;
    pid_t program_ = 0;
    int exitCode_ = 0;
    bool isOff_ = false;
    std::set<pid_t> threads_;
    std::map<pid_t, InFlight> inFlight_;
    // One at a time changes the disk, so that what came first is known. The others stand still.
    std::optional<pid_t> busy_;
    std::deque<pid_t> waiting_;
};

} // namespace power

#endif
