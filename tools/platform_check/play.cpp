// SPDX-License-Identifier: MIT
#include "tools/platform_check/play.h"

#include "base/failure.h"
#include "base/text.h"
#include "base/timed.h"
#include "tools/platform_check/check.h"
#include "tools/platform_check/guarded_bytes.h"
#include "tools/platform_check/guards.h"
#include "tools/platform_check/processes.h"
#include "tools/platform_check/shared.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace check {
namespace {

constexpr int kNotLocked = 112; // exit code
constexpr int kGlanceMs = 1;
constexpr int kGraceMs = 300; // for what is about to end by itself

constexpr const char *kComesBack = "every call comes back to the agent, which runs in this process";
constexpr const char *kHostEnds =
    "the host process would end in the middle of an upgrade: its supervisor starts it again, and the "
    "same call ends it again";
constexpr const char *kHostHangs =
    "the host process would stand still: no offer, no timer and no commit is served until somebody "
    "kills it";
constexpr const char *kNeverReboots =
    "the node reboots when the agent says so, and no call of a platform does it by itself";
constexpr const char *kLosesReport =
    "the node would go down in the middle of a call: what the agent was about to keep or report is "
    "lost, and a node that asks for it at every start reboots for ever";

constexpr off_t kMostOutput = 4 * 1024 * 1024;

// It never grows: a platform that writes without an end fills no memory.
base::UniqueFd memoryFile(const char *name) {
    base::UniqueFd file(memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!file || ftruncate(file.get(), kMostOutput) != 0 ||
        fcntl(file.get(), F_ADD_SEALS, F_SEAL_GROW | F_SEAL_SHRINK) != 0) {
        throw base::Failure(base::Outcome::failed, base::systemReason("no memory for a file"));
    }
    return file;
}

// Where the next byte would go is the same for all who hold the file.
void empty(const base::UniqueFd &file) { lseek(file.get(), 0, SEEK_SET); }

std::string readBack(const base::UniqueFd &file) {
    constexpr off_t kMost = 64 * 1024;
    const off_t written = lseek(file.get(), 0, SEEK_CUR);
    std::string text(static_cast<std::size_t>(std::min(kMost, written)), '\0');
    const ssize_t got =
        pread(file.get(), text.data(), text.size(), written - static_cast<off_t>(text.size()));
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return text;
}

std::string runningCall() {
    const std::string call = shared().call.data();
    return call.empty() ? "its own, outside of any call" : call;
}

// All that is left of the process before it.
void forget() {
    Shared &all = shared();
    all.state = State::running;
    all.text[0] = all.reboot[0] = all.commands[0] = all.call[0] = '\0';
    all.contract = all.device = nullptr;
    all.counts = false;
    all.expiries = {};
    all.expired = all.banksChanged = all.failures = 0;
    all.lastFailure = {};
}

bool endsInTime(pid_t child, int &status, int ms) {
    const std::int64_t until = nowMs() + ms;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (nowMs() >= until || isInterrupted()) {
            return false;
        }
        poll(nullptr, 0, kGlanceMs);
    }
    return true;
}

} // namespace

Player::Player(const Options &options)
    : options_(options), output_(memoryFile("output")), errors_(memoryFile("errors")) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    takeInterruptions();
    static_cast<void>(shared());
}

std::string Player::output() const { return readBack(output_); }

std::string Player::lastLineOfErrors() const {
    std::string text = readBack(errors_);
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text.substr(text.rfind('\n') + 1);
}

void Player::beThePlatform(const Step &step, Opening opening, bool traced) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    leaveInterruptions();
    setpgid(0, 0);
    const rlimit noCore{};
    setrlimit(RLIMIT_CORE, &noCore);
    const base::UniqueFd nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    dup2(nothing.get(), STDIN_FILENO);
    dup2(output_.get(), STDOUT_FILENO);
    dup2(errors_.get(), STDERR_FILENO);
    if (traced && (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 || raise(SIGSTOP) != 0)) {
        _exit(kNotLocked);
    }
    watchGuardedBytes();
    const bool isCovered = coverWaysDown(); // takes root
    if ((options_.commands && !isCovered) || !lockDown(options_.commands, getppid())) {
        _exit(kNotLocked);
    }
    Shared &all = shared();
    State end = State::done;
    try {
        Platform platform;
        if (opening != Opening::none) {
            platform = loadPlatform(options_.platform);
        }
        if (opening == Opening::whole) {
            openPlatform(platform, options_.config);
        }
        step(platform);
    } catch (const Wrong &wrong) {
        keep(wrong.came, all.text);
        all.contract = wrong.contract;
        all.device = wrong.device;
        end = State::wrong;
    } catch (const NotLookedAt &not_) {
        keep(not_.why, all.text);
        end = State::notLookedAt;
    }
    all.state = end;
    _exit(0);
}

pid_t Player::start(const Step &step, Opening opening, bool traced) {
    forget();
    empty(output_);
    empty(errors_);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        throw base::Failure(base::Outcome::failed, base::systemReason("no process can be made"));
    }
    if (child == 0) {
        beThePlatform(step, opening, traced);
    }
    return child;
}

// The step's own end is told by shared(); everything else is one that it did not choose.
void Player::judge(int status, int seconds, bool inTime) const {
    const Shared &all = shared();
    const std::string call = runningCall();
    if (isInterrupted()) {
        throw base::Failure(base::Outcome::failed, "it was interrupted",
                            "the copies are gone; run it again");
    }
    if (!inTime) {
        throw Wrong{call + " had not come back after " + std::to_string(seconds) + " s", kComesBack,
                    kHostHangs};
    }
    if (all.reboot[0] != '\0') {
        throw Wrong{call + " asked for a reboot: " + textIn(all.reboot), kNeverReboots,
                    kLosesReport};
    }
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) {
        throw Wrong{call + " asked the kernel for a reboot, or sent a signal to init or to its "
                           "supervisor; it was ended there",
                    kNeverReboots, kLosesReport};
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNotLocked) {
        throw base::Failure(
            base::Outcome::failed,
            "this machine does not let calls be filtered and followed, or programs be "
            "covered",
            "run it where seccomp and ptrace are, and mounts for --commands; a platform "
            "might reboot this machine without them");
    }
    if (all.state == State::wrong) {
        throw Wrong{textIn(all.text), all.contract, all.device};
    }
    if (all.state == State::notLookedAt) {
        throw NotLookedAt{textIn(all.text)};
    }
    if (WIFSIGNALED(status)) {
        const std::string name = strsignal(WTERMSIG(status));
        const std::string beyond = textIn(all.text); // of watchGuardedBytes()
        throw Wrong{beyond.empty() ? call + " ended the process by a signal: " + name
                                   : call + " " + beyond,
                    beyond.empty() ? kComesBack : nullptr, beyond.empty() ? kHostEnds : nullptr};
    }
    if (all.state != State::done) {
        throw Wrong{call + " ended the process with the exit code " +
                        std::to_string(WEXITSTATUS(status)),
                    kComesBack, kHostEnds};
    }
}

// What it started belongs to this process now.
void Player::endOthers(pid_t child) {
    const std::int64_t until = nowMs() + kGraceMs;
    int status = 0;
    pid_t other = 0;
    while ((other = waitpid(-1, &status, WNOHANG)) >= 0 && nowMs() < until) {
        poll(nullptr, 0, other == 0 ? kGlanceMs : 0);
    }
    leftProcesses_ = other >= 0;
    kill(-child, SIGKILL);
    while (waitpid(-1, &status, WNOHANG) >= 0) {
        for (const pid_t process : childrenOfThis()) {
            kill(process, SIGKILL);
        }
        poll(nullptr, 0, kGlanceMs);
    }
}

void Player::play(const Step &step, Opening opening, int seconds) {
    const int limit = std::min(seconds, options_.limit);
    const pid_t child = start(step, opening, false);
    int status = 0;
    const bool inTime = endsInTime(child, status, limit * static_cast<int>(base::kMsPerSecond));
    if (!inTime) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
    }
    endOthers(child);
    judge(status, limit, inTime);
}

int Player::playKilledAt(const Step &step, int point) {
    const pid_t child = start(step, Opening::whole, true);
    const Followed followed = followUntil(child, point, options_.limit);
    endOthers(child);
    if (!followed.killed) {
        judge(followed.status, options_.limit, followed.inTime);
    }
    return followed.calls;
}

} // namespace check
