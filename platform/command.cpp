// SPDX-License-Identifier: MIT
#include "platform/command.h"

#include "base/file_io.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr int kCannotRun = 127;
constexpr timespec kGlance = {0, 20'000'000};

[[noreturn]] void becomeCommand(const std::string &command) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
    const int nothing = open("/dev/null", O_RDONLY);
    if (nothing >= 0) {
        dup2(nothing, STDIN_FILENO);
    }
    // Sockets of the node are not the command's: a child of it could hold them open for ever.
    base::closeFrom(STDERR_FILENO + 1);
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char *>(nullptr));
    _exit(kCannotRun);
}

// False where the limit came first; else `status` is the child's, which is waited for.
bool endsWithin(pid_t child, std::chrono::seconds limit, int &status) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const bool late = std::chrono::steady_clock::now() >= end;
        if (waitpid(child, &status, WNOHANG) == child) {
            return true;
        }
        if (late) {
            return false;
        }
        nanosleep(&kGlance, nullptr);
    }
}

std::string howItEnded(int status) {
    if (WIFSIGNALED(status)) {
        return "was ended by signal " + std::to_string(WTERMSIG(status));
    }
    return "ended with " + std::to_string(WEXITSTATUS(status));
}

} // namespace

base::Result<void> runCommand(const std::string &what, const std::string &command,
                              std::chrono::seconds limit) {
    const pid_t child = fork();
    if (child < 0) {
        return base::Error{base::systemReason(what + " cannot be started")};
    }
    if (child == 0) {
        becomeCommand(command);
    }
    setpgid(child, child); // whoever of the two comes first
    int status = 0;
    const bool ended = endsWithin(child, limit, status);
    kill(-child, SIGKILL); // also what it left behind
    while (!ended && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!ended) {
        return base::Error{what + " did not end within " + std::to_string(limit.count()) +
                           " s: " + command};
    }
    if (status != 0) {
        return base::Error{what + " " + howItEnded(status) + ": " + command};
    }
    return {};
}

} // namespace platform
