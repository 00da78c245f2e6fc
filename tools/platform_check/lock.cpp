// SPDX-License-Identifier: MIT
// The second lock, which the kernel holds: whatever a platform or a program of its does.
#include "tools/platform_check/guards.h"

#include "base/file_io.h"

#include <array>
#include <bit>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <string>
#include <string_view>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace check {
namespace {

using Filter = std::vector<sock_filter>;

constexpr std::uint32_t kEnds = SECCOMP_RET_KILL_PROCESS;
constexpr std::uint32_t kNotPermitted = SECCOMP_RET_ERRNO | EACCES;
constexpr std::size_t kLowHalf = std::endian::native == std::endian::little ? 0 : 4;
constexpr std::array kInterruptions{SIGINT, SIGTERM, SIGHUP};
volatile sig_atomic_t interrupted = 0;

// A processor's other ways into the kernel number their calls differently.
#if defined(__x86_64__)
constexpr std::uint32_t kOwnWay = AUDIT_ARCH_X86_64;
constexpr std::uint32_t kThirdWay = 0x40000000; // its numbers begin here
#elif defined(__i386__)
constexpr std::uint32_t kOwnWay = AUDIT_ARCH_I386;
#elif defined(__aarch64__)
constexpr std::uint32_t kOwnWay = AUDIT_ARCH_AARCH64;
#elif defined(__arm__)
constexpr std::uint32_t kOwnWay = AUDIT_ARCH_ARM;
#elif defined(__s390x__)
constexpr std::uint32_t kOwnWay = AUDIT_ARCH_S390X;
#else
constexpr std::uint32_t kOwnWay = 0; // there is one way only
#endif

constexpr pid_t kInit = 1;
constexpr pid_t kEverybody = -1;

void add(Filter &filter, const sock_filter &statement) { filter.push_back(statement); }

void answer(Filter &filter, long call, std::uint32_t verdict) {
    add(filter, BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1));
    add(filter, BPF_STMT(BPF_RET | BPF_K, verdict));
}

// The first argument names a process. Each look at the arguments loads the call's number anew.
void protect(Filter &filter, long call, pid_t process) {
    add(filter, BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 4));
    add(filter, BPF_STMT(BPF_LD | BPF_W | BPF_ABS,
                         static_cast<std::uint32_t>(offsetof(seccomp_data, args) + kLowHalf)));
    add(filter, BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(process), 0, 1));
    add(filter, BPF_STMT(BPF_RET | BPF_K, kEnds));
    add(filter, BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)));
}

void requireOwnWay(Filter &filter) {
    if (kOwnWay != 0) {
        add(filter, BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)));
        add(filter, BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kOwnWay, 1, 0));
        add(filter, BPF_STMT(BPF_RET | BPF_K, kEnds));
    }
}

Filter locks(bool commands, pid_t checker) {
    Filter filter;
    requireOwnWay(filter);
    add(filter, BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)));
#if defined(__x86_64__)
    add(filter, BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, kThirdWay, 0, 1));
    add(filter, BPF_STMT(BPF_RET | BPF_K, kEnds));
#endif
    answer(filter, SYS_reboot, kEnds);
#ifdef SYS_kexec_load
    answer(filter, SYS_kexec_load, kEnds);
#endif
#ifdef SYS_kexec_file_load
    answer(filter, SYS_kexec_file_load, kEnds);
#endif
    if (!commands) {
        answer(filter, SYS_execve, kNotPermitted);
        answer(filter, SYS_execveat, kNotPermitted);
    }
    for (const long call : {long{SYS_kill}, long{SYS_tgkill}, long{SYS_rt_sigqueueinfo}}) {
        for (const pid_t process : {kInit, kEverybody, checker}) {
            protect(filter, call, process);
        }
    }
    add(filter, BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    return filter;
}

// One program of many names: its reboot is a call to the kernel or a signal to init.
bool isOfManyNames(std::string_view path) {
    const std::string_view name = path.substr(path.rfind('/') + 1);
    return name == "busybox" || name == "toybox";
}

// True also where nothing is there.
bool isCovered(const std::string &name) {
    const auto path = base::realPathOf(name);
    struct stat status {};
    if (!path || stat(path->c_str(), &status) != 0 || S_ISCHR(status.st_mode) ||
        isOfManyNames(*path)) {
        return true; // a character device: it was covered before, under another name
    }
    return mount("/dev/null", path->c_str(), nullptr, MS_BIND, nullptr) == 0;
}

} // namespace

bool lockDown(bool commands, pid_t checker) {
    Filter filter = locks(commands, checker);
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

bool coverWaysDown() {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return false;
    }
    for (const char *const folder : {"/sbin/", "/usr/sbin/", "/bin/", "/usr/bin/"}) {
        for (const char *const name :
             {"reboot", "poweroff", "halt", "shutdown", "telinit", "kexec", "systemctl"}) {
            if (!isCovered(std::string(folder) + name)) {
                return false;
            }
        }
    }
    return isCovered("/run/systemd/private") && isCovered("/run/dbus/system_bus_socket");
}

void takeInterruptions() {
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = 1; };
    for (const int number : kInterruptions) {
        sigaction(number, &action, nullptr);
    }
}

void leaveInterruptions() {
    for (const int number : kInterruptions) {
        std::signal(number, SIG_DFL);
    }
}

bool isInterrupted() { return interrupted != 0; }

std::int64_t nowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace check
