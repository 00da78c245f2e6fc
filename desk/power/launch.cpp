// SPDX-License-Identifier: MIT
#include "desk/power/launch.h"

#include "base/file_io.h"
#include "desk/failure.h"
#include "desk/power/seccomp_filter.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <unistd.h>

namespace power {
namespace {

constexpr int kNotFound = 127;
constexpr int kNotStarted = 126;
constexpr long kFollow = PTRACE_O_EXITKILL | PTRACE_O_TRACESECCOMP | PTRACE_O_TRACESYSGOOD |
                         PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
                         PTRACE_O_TRACEEXEC;
constexpr std::array kPassedOn{SIGTERM, SIGINT, SIGHUP};

volatile sig_atomic_t programId = 0;

// A terminal sends its signals to the program as well: only what a process sent goes on.
void passOn(int number, siginfo_t *info, void *) {
    const int keep = errno;
    if (info->si_code <= 0) {
        kill(programId, number);
    }
    errno = keep;
}

sigset_t passedOn() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : kPassedOn) {
        sigaddset(&signals, number);
    }
    return signals;
}

[[noreturn]] void complain(const char *what, const char *about, int code) {
    dprintf(STDERR_FILENO, "ota-power: %s: %s: %s\n", about, what, std::strerror(errno));
    _exit(code);
}

// In the child.
[[noreturn]] void become(std::vector<char *> &words, const std::vector<sock_filter> &filter,
                         int goAhead, const sigset_t &signals) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    char byte = 0;
    if (read(goAhead, &byte, 1) != 1) {
        _exit(kNotStarted); // the one line is said on the other side
    }
    sigprocmask(SIG_SETMASK, &signals, nullptr);
    if (!installFilter(filter)) {
        complain("its calls cannot be filtered", words[0], kNotStarted);
    }
    execvp(words[0], words.data());
    complain("cannot be started", words[0], errno == ENOENT ? kNotFound : kNotStarted);
}

void forwardSignals(pid_t child) {
    programId = child;
    struct sigaction action {};
    action.sa_sigaction = passOn;
    action.sa_flags = SA_SIGINFO;
    for (const int number : kPassedOn) {
        sigaction(number, &action, nullptr);
    }
}

// A descriptor is held for each file that has bytes which are not synced. The program, which has
// started by then, keeps its own limit.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

pid_t launchTraced(const std::vector<std::string> &program) {
    std::vector<std::string> copies = program;
    std::vector<char *> words;
    words.reserve(copies.size() + 1);
    for (std::string &word : copies) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    const std::vector<sock_filter> filter = callFilter();
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw desk::Failure(base::systemReason("a pipe cannot be made"));
    }
    const base::UniqueFd readEnd(ends[0]);
    const base::UniqueFd writeEnd(ends[1]);
    // What loses its parent comes to this process, which waits for all.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const sigset_t passed = passedOn();
    sigset_t before;
    sigprocmask(SIG_BLOCK, &passed, &before);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[1]);
        become(words, filter, ends[0], before);
    }
    if (child < 0 || ptrace(PTRACE_SEIZE, child, nullptr, kFollow) != 0 ||
        !base::writeFully(writeEnd.get(), "x", 1)) {
        throw desk::Failure(base::systemReason("the program cannot be traced") +
                            "; allow it: kernel.yama.ptrace_scope below 3, and in a container "
                            "the capability SYS_PTRACE");
    }
    forwardSignals(child);
    raiseDescriptorLimit();
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return child;
}

} // namespace power
