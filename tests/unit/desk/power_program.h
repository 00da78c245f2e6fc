// SPDX-License-Identifier: MIT
// ota-power on a disk in a temporary folder.
#ifndef TESTS_DESK_POWER_PROGRAM_H
#define TESTS_DESK_POWER_PROGRAM_H

#include "tests/unit/desk/text_files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

inline constexpr int kPowerCut = 75;

class PowerProgram : public testing::Test {
  protected:
    PowerProgram() {
        std::string name = (fs::temp_directory_path() / "power-XXXXXX").string();
        place_ = mkdtemp(name.data());
        makeDisk();
    }
    ~PowerProgram() override { fs::remove_all(place_); }

    [[nodiscard]] fs::path disk() const { return place_ / "disk"; }
    void makeDisk() const {
        fs::remove_all(disk());
        fs::create_directories(disk() / "ram");
        desk::writeFile(disk() / "f", "old\n");
    }
    [[nodiscard]] std::string read(const std::string &name) const {
        return desk::readFile(disk() / name);
    }
    [[nodiscard]] std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto &entry : fs::directory_iterator(disk())) {
            found.insert(entry.path().filename());
        }
        return found;
    }

    // Its process id; the words of a shell, run in the disk's folder.
    [[nodiscard]] pid_t start(const Words &options, const Words &program) const {
        Words words{OTA_POWER_PROGRAM, "--disk", disk().string()};
        words.insert(words.end(), options.begin(), options.end());
        words.emplace_back("--");
        words.insert(words.end(), program.begin(), program.end());
        std::vector<char *> arguments;
        for (std::string &word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            const int said = open((place_ / "said").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(said, STDERR_FILENO);
            if (chdir(disk().c_str()) == 0) {
                execv(arguments[0], arguments.data());
            }
            _exit(99);
        }
        return child;
    }
    static int endOf(pid_t child) {
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    [[nodiscard]] int run(const Words &options, const Words &program) const {
        return endOf(start(options, program));
    }
    [[nodiscard]] int shell(const Words &options, const std::string &text) const {
        return run(options, {"sh", "-c", text});
    }
    [[nodiscard]] std::string said() const { return desk::readFile(place_ / "said"); }

    // Cuts at every call there is, each on a new disk; returns how many there were.
    int cutEverywhere(const Words &more, const Words &program,
                      const std::function<void(int)> &check) const {
        for (int at = 1; at < 1000; ++at) {
            makeDisk();
            Words options{"--cut", std::to_string(at)};
            options.insert(options.end(), more.begin(), more.end());
            const int code = run(options, program);
            if (code == 0) {
                return at - 1;
            }
            EXPECT_EQ(code, kPowerCut) << said();
            check(at);
        }
        return -1;
    }

    fs::path place_;
};

#endif
