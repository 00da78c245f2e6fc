// SPDX-License-Identifier: MIT
#include "desk/power/launch.h"

#include "base/disk_calls.h"
#include "base/file_io.h"
#include "desk/failure.h"
#include "desk/power/tracee.h"

#include <array>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace power {
namespace {

constexpr std::uint32_t kNotHere = SECCOMP_RET_ERRNO | ENOSYS;
constexpr std::size_t kHalf = std::endian::native == std::endian::little ? 0 : 4;

void load(std::vector<sock_filter> &filter, std::size_t offset) {
    filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset)));
}

void answer(std::vector<sock_filter> &filter, std::uint32_t verdict) {
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, verdict));
}

// An open that neither creates nor truncates is by far the most frequent call.
void addOpen(std::vector<sock_filter> &filter, const base::DiskCall &row) {
    filter.push_back(
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(row.number), 0, 4));
    load(filter, offsetof(seccomp_data, args) + kHalf +
                     sizeof(std::uint64_t) * static_cast<std::size_t>(row.flags));
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_CREAT | O_TRUNC, 0, 1));
    answer(filter, SECCOMP_RET_TRACE);
    answer(filter, SECCOMP_RET_ALLOW);
}

void addCall(std::vector<sock_filter> &filter, long number, std::uint32_t verdict) {
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(number), 0, 1));
    answer(filter, verdict);
}

// A filter in the kernel: the calls of interest stop for the tracer, all others run at full speed.
std::vector<sock_filter> callFilter() {
    std::vector<sock_filter> filter;
    // A program of another kind has calls of other numbers: it fails rather than go unseen.
    load(filter, offsetof(seccomp_data, arch));
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kMachine, 1, 0));
    answer(filter, kNotHere);
    load(filter, offsetof(seccomp_data, nr));
    // Writes that are asked for in a ring of memory are no calls: programs do without it.
    addCall(filter, SYS_io_uring_setup, kNotHere);
    for (const base::DiskCall &row : base::diskCalls()) {
        if (row.act == base::DiskAct::open && row.flags != base::kNoArgument) {
            addOpen(filter, row);
        } else {
            addCall(filter, row.number, SECCOMP_RET_TRACE);
        }
    }
    answer(filter, SECCOMP_RET_ALLOW);
    return filter;
}

// For this process and all that it starts, for good. Calls no other than system calls, so that it
// may run between fork and exec. False: errno says why.
bool installFilter(const std::vector<sock_filter> &filter) {
    const sock_fprog program{static_cast<unsigned short>(filter.size()),
                             const_cast<sock_filter *>(filter.data())};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

constexpr int kNotFound = 127;
constexpr int kNotStarted = 126;
constexpr long kFollow = PTRACE_O_EXITKILL | PTRACE_O_TRACESECCOMP | PTRACE_O_TRACESYSGOOD |
                         PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
                         PTRACE_O_TRACEEXEC;
constexpr std::array kPassedOn{SIGTERM, SIGINT, SIGHUP};

volatile sig_atomic_t programId = 0;
volatile sig_atomic_t cutAsked = 0;

// A terminal sends its signals to the program as well: only what a process sent goes on.
void passOn(int number, siginfo_t *info, void *) {
    const int keep = errno;
    if (info->si_code <= 0) {
        kill(programId, number);
    }
    errno = keep;
}

// Whoever waits for the program's end hears of it then.
void killForCut(int) {
    const int keep = errno;
    cutAsked = 1;
    kill(programId, SIGKILL);
    errno = keep;
}

sigset_t passedOn() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPWR);
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
    struct sigaction cut {};
    cut.sa_handler = killForCut;
    sigaction(SIGPWR, &cut, nullptr);
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

bool powerCutIsAsked() { return cutAsked != 0; }

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
