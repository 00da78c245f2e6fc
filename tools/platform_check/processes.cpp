// SPDX-License-Identifier: MIT
#include "tools/platform_check/processes.h"

#include "base/disk_calls.h"
#include "base/failure.h"
#include "base/file_io.h"
#include "base/timed.h"
#include "tools/platform_check/guards.h"
#include "tools/platform_check/shared.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace check {
namespace {

constexpr long kFollow = PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK |
                         PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC;
constexpr int kSystemCall = SIGTRAP | 0x80;

struct FolderClose {
    void operator()(DIR *folder) const { closedir(folder); }
};

pid_t parentOf(pid_t process) {
    constexpr std::size_t kLongest = 1024;
    const auto text = base::readWholeFile("/proc/" + std::to_string(process) + "/stat", kLongest);
    const std::size_t name = text ? text->rfind(')') : std::string::npos;
    int parent = 0;
    char state = 0;
    return name != std::string::npos &&
                   std::sscanf(text->c_str() + name + 1, " %c %d", &state, &parent) == 2
               ? parent
               : 0;
}

bool changesDisk(const __ptrace_syscall_info &info) {
    const base::DiskCall *const row = base::diskCallOf(static_cast<long>(info.entry.nr));
    if (row == nullptr) {
        return false;
    }
    if (row->act == base::DiskAct::write) {
        return static_cast<int>(info.entry.args[row->descriptor]) > STDERR_FILENO;
    }
    constexpr std::uint64_t kChanges = O_CREAT | O_TRUNC;
    return row->act != base::DiskAct::open || row->flags == base::kNoArgument ||
           (info.entry.args[row->flags] & kChanges) != 0;
}

class Follower {
  public:
    Follower(pid_t child, int point, int seconds)
        : child_(child), point_(point), until_(nowMs() + seconds * base::kMsPerSecond) {}

    Followed run() {
        int status = 0;
        for (;;) {
            const pid_t thread = waitpid(-1, &status, __WALL | WNOHANG);
            if (thread < 0) {
                return followed_;
            }
            if (thread > 0) {
                take(thread, status);
            } else if ((nowMs() >= until_ || isInterrupted()) && followed_.inTime) {
                followed_.inTime = false;
                end();
            } else {
                poll(nullptr, 0, 1);
            }
        }
    }

  private:
    void end() {
        threads_.push_back(child_);
        for (const pid_t thread : threads_) {
            kill(thread, SIGKILL);
        }
    }

    void take(pid_t thread, int status) {
        if (!WIFSTOPPED(status)) {
            if (thread == child_) {
                followed_.status = status;
            }
            threads_.erase(std::remove(threads_.begin(), threads_.end(), thread), threads_.end());
            return;
        }
        if (std::find(threads_.begin(), threads_.end(), thread) == threads_.end()) {
            threads_.push_back(thread);
            ptrace(PTRACE_SETOPTIONS, thread, nullptr, kFollow);
        }
        const int signal = WSTOPSIG(status);
        if (signal == kSystemCall) {
            called(thread);
        }
        const bool isOwn = signal == kSystemCall || signal == SIGTRAP || signal == SIGSTOP;
        ptrace(PTRACE_SYSCALL, thread, nullptr, static_cast<long>(isOwn ? 0 : signal));
    }

    void called(pid_t thread) {
        __ptrace_syscall_info info{};
        if (!shared().counts || followed_.killed ||
            ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) <= 0 ||
            info.op != PTRACE_SYSCALL_INFO_ENTRY || !changesDisk(info)) {
            return;
        }
        if (++followed_.calls == point_) {
            followed_.killed = true;
            end();
        }
    }

    pid_t child_;
    int point_;
    std::int64_t until_;
    std::vector<pid_t> threads_;
    Followed followed_;
};

} // namespace

std::vector<pid_t> childrenOfThis() {
    std::vector<pid_t> children;
    const std::unique_ptr<DIR, FolderClose> folder(opendir("/proc"));
    while (const dirent *const entry = folder ? readdir(folder.get()) : nullptr) {
        const auto process = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
        if (process > 0 && parentOf(process) == getpid()) {
            children.push_back(process);
        }
    }
    return children;
}

Followed followUntil(pid_t child, int point, int seconds) {
    return Follower(child, point, seconds).run();
}

void runCommand(const std::string &command, const std::vector<std::string> &words) {
    std::vector<const char *> line{"sh", "-c", command.c_str(), "sh"};
    line.reserve(line.size() + words.size() + 1);
    for (const std::string &word : words) {
        line.push_back(word.c_str());
    }
    line.push_back(nullptr);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(STDERR_FILENO, STDOUT_FILENO); // standard output is the report's
        // Not by way of guards.cpp: the command is no platform's.
        syscall(SYS_execve, "/bin/sh", line.data(), environ);
        _exit(127);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
        throw base::Failure(base::Outcome::failed, "the command failed: " + command,
                            "try it by hand in the node's folder; it must end with 0");
    }
}

} // namespace check
