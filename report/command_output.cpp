// SPDX-License-Identifier: MIT
#include "report/command_output.h"

#include "base/file_io.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace report {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kNotStarted = 127;

// In the child: PATH is where execvp looks.
[[noreturn]] void become(std::vector<char *> words, int output) {
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (setpgid(0, 0) == 0 && nothing >= 0 && dup2(nothing, STDIN_FILENO) >= 0 &&
        dup2(output, STDOUT_FILENO) >= 0 && dup2(output, STDERR_FILENO) >= 0 && clearenv() == 0 &&
        setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1) == 0 && setenv("LC_ALL", "C", 1) == 0) {
        execvp(words.front(), words.data());
    }
    _exit(kNotStarted);
}

// Until the end of the output; false: it was too much, or took too long.
bool readAll(int from, std::size_t most, Clock::time_point until, std::string &text) {
    std::array<char, 65536> piece{};
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
        pollfd readable{from, POLLIN, 0};
        if (left <= 0 || poll(&readable, 1, static_cast<int>(left)) == 0) {
            return false;
        }
        const ssize_t size = read(from, piece.data(), piece.size());
        if (size <= 0) {
            if (size < 0 && errno == EINTR) {
                continue;
            }
            return size == 0;
        }
        text.append(piece.data(), static_cast<std::size_t>(size));
        if (text.size() > most) {
            return false;
        }
    }
}

} // namespace

base::Result<std::string> outputOf(const std::vector<std::string> &command, std::size_t most,
                                   std::chrono::seconds patience) {
    std::vector<char *> words;
    words.reserve(command.size() + 1);
    for (const std::string &word : command) {
        words.push_back(const_cast<char *>(word.c_str())); // NOLINT: execvp's type
    }
    words.push_back(nullptr);
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
        return base::Error{base::systemReason(command.front())};
    }
    const base::UniqueFd output(pipe[0]);
    base::UniqueFd input(pipe[1]);
    const pid_t child = fork();
    if (child == 0) {
        become(std::move(words), input.get());
    }
    input.reset();
    if (child < 0) {
        return base::Error{base::systemReason(command.front())};
    }
    std::string text;
    const bool whole = readAll(output.get(), most, Clock::now() + patience, text);
    if (!whole) {
        kill(-child, SIGKILL);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!whole) {
        return base::Error{command.front() + " printed too much or took too long, and was ended"};
    }
    if (status != 0 && text.empty()) {
        return base::Error{command.front() +
                           (WIFEXITED(status) && WEXITSTATUS(status) == kNotStarted
                                ? " is not installed"
                                : " failed and printed nothing")};
    }
    return text;
}

} // namespace report
