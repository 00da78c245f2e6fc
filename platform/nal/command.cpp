// SPDX-License-Identifier: MIT
// A command of the configuration, run by the shell within a time limit.
#include "platform/nal/command.h"

#include "platform/nal/file_io.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nal {
namespace {

constexpr int kCannotRun = 127;

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
    for (int descriptor = STDERR_FILENO + 1; descriptor < 256; ++descriptor) {
        close(descriptor);
    }
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char *>(nullptr));
    _exit(kCannotRun);
}

// False where the limit came first.
bool endsWithin(pid_t child, std::chrono::seconds limit) {
    const UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + limit;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd entry{process.get(), POLLIN, 0};
        const int ready = poll(&entry, 1, left > 0 ? static_cast<int>(left) : 0);
        if (ready > 0) {
            return true;
        }
        if (left <= 0 || (ready < 0 && errno != EINTR)) {
            return false;
        }
    }
}

std::string howItEnded(int status) {
    if (WIFSIGNALED(status)) {
        return "was ended by signal " + std::to_string(WTERMSIG(status));
    }
    return "ended with " + std::to_string(WEXITSTATUS(status));
}

} // namespace

bool runCommand(const std::string &what, const std::string &command, std::chrono::seconds limit,
                std::string &whatIsWrong) {
    const pid_t child = fork();
    if (child < 0) {
        whatIsWrong = systemReason(what + " cannot be started");
        return false;
    }
    if (child == 0) {
        becomeCommand(command);
    }
    setpgid(child, child); // whoever of the two comes first
    const bool ended = endsWithin(child, limit);
    kill(-child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!ended) {
        whatIsWrong =
            what + " did not end within " + std::to_string(limit.count()) + " s: " + command;
    } else if (status != 0) {
        whatIsWrong = what + " " + howItEnded(status) + ": " + command;
    }
    return ended && status == 0;
}

} // namespace nal
