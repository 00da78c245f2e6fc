// SPDX-License-Identifier: MIT
// otactl as a child process.
#include "program.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience(60);

int inputHolding(const std::string &text) {
    const int file = memfd_create("input", 0);
    if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        lseek(file, 0, SEEK_SET) != 0) {
        std::abort();
    }
    return file;
}

[[noreturn]] void become(std::vector<std::string> &arguments, const Program::Surroundings &around) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The person's own surroundings are not part of a test.
    for (const char *name : {"NO_COLOR", "TERM", "DBUS_SYSTEM_BUS_ADDRESS"}) {
        unsetenv(name);
    }
    for (const auto &[name, value] : around.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char *> pointers;
    for (std::string &argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    execv(pointers.front(), pointers.data());
    _exit(127);
}

} // namespace

Program::Program(std::vector<std::string> arguments, const Surroundings &around) {
    arguments.insert(arguments.begin(), OTACTL);
    const int input = inputHolding(around.input);
    std::array<int, 2> output{-1, -1};
    std::array<int, 2> errors{-1, -1};
    const winsize size{30, 100, 0, 0};
    const bool ready =
        around.terminal
            ? openpty(output.data(), output.data() + 1, nullptr, nullptr, &size) == 0
            : pipe2(output.data(), O_CLOEXEC) == 0 && pipe2(errors.data(), O_CLOEXEC) == 0;
    child_ = ready ? fork() : -1;
    if (child_ == 0) {
        dup2(input, STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(around.terminal ? output[1] : errors[1], STDERR_FILENO);
        become(arguments, around);
    }
    close(input);
    close(output[1]);
    output_ = output[0];
    errors_ = errors[0];
    if (errors[1] >= 0) {
        close(errors[1]);
    }
}

Program::~Program() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    close(output_);
    if (errors_ >= 0) {
        close(errors_);
    }
}

bool Program::readSome() {
    pollfd waiting{output_, POLLIN, 0};
    const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(kPatience);
    if (poll(&waiting, 1, static_cast<int>(patience.count())) != 1) {
        return false;
    }
    std::array<char, 4096> part{};
    const ssize_t count = read(output_, part.data(), part.size());
    if (count > 0) {
        text_.append(part.data(), static_cast<std::size_t>(count));
    }
    return count > 0;
}

std::string Program::line() {
    while (text_.find('\n') == std::string::npos) {
        const auto before = Clock::now();
        if (!readSome()) {
            return Clock::now() - before < kPatience ? "(end)" : "(nothing)";
        }
    }
    const std::size_t end = text_.find('\n');
    std::string line = text_.substr(0, end);
    text_.erase(0, end + 1);
    return line;
}

bool Program::shows(const std::string &text) {
    while (text_.find(text) == std::string::npos) {
        if (!readSome()) {
            return false;
        }
    }
    return true;
}

std::string Program::rest() {
    while (readSome()) {
    }
    return text_;
}

int Program::code() {
    const auto limit = Clock::now() + kPatience;
    while (child_ > 0 && Clock::now() < limit) {
        int status = 0;
        if (waitpid(child_, &status, WNOHANG) == child_) {
            code_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            child_ = -1;
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    return code_;
}

std::string Program::errors() {
    std::string text;
    std::array<char, 4096> part{};
    ssize_t count = 0;
    while (errors_ >= 0 && (count = read(errors_, part.data(), part.size())) > 0) {
        text.append(part.data(), static_cast<std::size_t>(count));
    }
    return text;
}

Ended run(std::vector<std::string> arguments, const Program::Surroundings &around) {
    Program program(std::move(arguments), around);
    Ended ended;
    ended.output = program.rest();
    ended.errors = program.errors();
    ended.code = program.code();
    return ended;
}
