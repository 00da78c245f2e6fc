// SPDX-License-Identifier: MIT
// A child process that is stopped, by its own process id, when its owner goes.
#ifndef DESK_CHILD_H
#define DESK_CHILD_H

#include "desk/interrupt.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace desk {

struct Launch {
    std::vector<std::string> arguments; // the program first
    std::filesystem::path folder;       // its working directory
    std::filesystem::path log;          // its output, appended
    std::vector<std::pair<std::string, std::string>> environment{};
    int output = -1;                          // its standard output, where that is not its log
    std::uint64_t fileLimit{};                // bytes that a file may grow to; 0: no limit
    std::chrono::milliseconds patience{2000}; // from the request to end until it is made to
};

class Child {
  public:
    Child() = default;
    explicit Child(const Launch &launch);
    ~Child() { stop(); }
    Child(Child &&other) noexcept;
    Child &operator=(Child &&other) noexcept;
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    [[nodiscard]] bool running() const { return pid_ > 0; }
    // "exit code 3" or "signal 9" once the child is gone, and with it what it started; never waits.
    std::optional<std::string> ending();
    // Asks the child to end, then makes it, and what it started; waits until it is gone. Returns
    // how it ended; none where it did not run.
    std::optional<std::string> stop();
    // Ends it at once, as a loss of power would.
    void kill();

  private:
    std::string reap();
    pid_t pid_ = -1;
    std::chrono::milliseconds patience_{};
};

// A program that a user's PATH often leaves out, since it lies in /usr/sbin.
std::string systemProgram(const std::string &name);
// Waits until the child listens on the port of 127.0.0.1; throws a Failure that names its log.
void waitUntilListening(Child &child, std::uint16_t port, const std::string &what,
                        const std::filesystem::path &log, const Interrupt &interrupt);
// Runs a program to its end; throws a Failure that names its log unless it ended with 0.
void runProgram(const Launch &launch, const Interrupt &interrupt);

} // namespace desk

#endif
