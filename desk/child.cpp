// SPDX-License-Identifier: MIT
// Starting, watching and stopping child processes.
#include "desk/child.h"

#include "desk/failure.h"
#include "desk/loopback.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace desk {
namespace {

using namespace std::chrono_literals;

constexpr auto kGlance = 10ms;
constexpr auto kStartLimit = 10s;
constexpr int kCouldNotStart = 127;

[[noreturn]] void giveUp(const char *what, const std::string &name) {
    dprintf(STDERR_FILENO, "cannot start %s: %s: %s\n", name.c_str(), what, std::strerror(errno));
    _exit(kCouldNotStart);
}

void useLog(const Launch &launch) {
    const int log = open(launch.log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (log < 0 || nothing < 0) {
        giveUp("its log cannot be opened", launch.arguments.front());
    }
    dup2(nothing, STDIN_FILENO);
    dup2(launch.output >= 0 ? launch.output : log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
}

void limitFiles(std::uint64_t bytes) {
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
    // A write beyond the limit is to fail as on a full disk, not to end the process.
    std::signal(SIGXFSZ, SIG_IGN);
}

[[noreturn]] void become(const Launch &launch, pid_t parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(kCouldNotStart);
    }
    std::signal(SIGPIPE, SIG_DFL);
    useLog(launch);
    if (chdir(launch.folder.c_str()) != 0) {
        giveUp("its folder cannot be entered", launch.arguments.front());
    }
    for (const auto &[name, value] : launch.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    if (launch.fileLimit > 0) {
        limitFiles(launch.fileLimit);
    }
    std::vector<char *> arguments;
    for (const std::string &argument : launch.arguments) {
        arguments.push_back(const_cast<char *>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    giveUp("the program cannot be run; is it installed?", launch.arguments.front());
}

std::string describe(int status) {
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit code " + std::to_string(WEXITSTATUS(status));
}

} // namespace

Child::Child(const Launch &launch) : patience_(launch.patience) {
    const pid_t parent = getpid();
    std::fflush(nullptr);
    pid_ = fork();
    if (pid_ < 0) {
        throw Failure("cannot start " + launch.arguments.front() + ": " + std::strerror(errno));
    }
    if (pid_ == 0) {
        become(launch, parent);
    }
    setpgid(pid_, pid_);
}

Child::Child(Child &&other) noexcept
    : pid_(std::exchange(other.pid_, -1)), patience_(other.patience_) {}

Child &Child::operator=(Child &&other) noexcept {
    if (this != &other) {
        stop();
        pid_ = std::exchange(other.pid_, -1);
        patience_ = other.patience_;
    }
    return *this;
}

std::optional<std::string> Child::ending() {
    siginfo_t seen{};
    if (!running() ||
        waitid(P_PID, static_cast<id_t>(pid_), &seen, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        seen.si_pid != pid_) {
        return std::nullopt;
    }
    // What it started ends with it; until it is waited for, its group's number stays its own.
    ::kill(-pid_, SIGKILL);
    return reap();
}

std::optional<std::string> Child::stop() {
    if (!running()) {
        return std::nullopt;
    }
    // It alone: what it started is its own to end in order.
    ::kill(pid_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + patience_;
    while (std::chrono::steady_clock::now() < deadline) {
        if (auto ended = ending()) {
            return ended;
        }
        std::this_thread::sleep_for(kGlance);
    }
    ::kill(-pid_, SIGKILL);
    return reap();
}

void Child::kill() {
    if (running()) {
        ::kill(-pid_, SIGKILL);
        reap();
    }
}

std::string Child::reap() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return describe(status);
}

std::string systemProgram(const std::string &name) {
    const std::string path = "/usr/sbin/" + name;
    return std::filesystem::exists(path) ? path : name;
}

void waitUntilListening(Child &child, std::uint16_t port, const std::string &what,
                        const std::filesystem::path &log, const Interrupt &interrupt) {
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    while (!listens(port)) {
        interrupt.check();
        if (const auto ending = child.ending()) {
            throw Failure(what + " ended with " + *ending + "; what it said is in " + log.string());
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw Failure(what + " does not listen on 127.0.0.1:" + std::to_string(port) +
                          "; see " + log.string());
        }
        std::this_thread::sleep_for(kGlance);
    }
}

void runProgram(const Launch &launch, const Interrupt &interrupt) {
    Child child(launch);
    for (;;) {
        if (const auto ending = child.ending()) {
            if (*ending == "exit code " + std::to_string(kCouldNotStart)) {
                throw Failure("cannot run " + launch.arguments.front() +
                              ": is it installed? What was said is in " + launch.log.string());
            }
            if (*ending != "exit code 0") {
                throw Failure(launch.arguments.front() + " ended with " + *ending +
                              "; what it said is in " + launch.log.string());
            }
            return;
        }
        interrupt.check();
        std::this_thread::sleep_for(kGlance);
    }
}

} // namespace desk
