// SPDX-License-Identifier: MIT
// The shell as the agent sees it: commands are written down and, where a test says so, run.
#pragma once

#include <string>

namespace ota::test {

struct Shell {
    // Really run commands, except those that name anything outside the test's own folder.
    bool runsCommands = false;
    // What popen gives to read; where popenErrno is set it fails with that number instead. With
    // runsCommands the pipe is a real one.
    std::string popenOutput;
    int popenErrno = 0;
};

Shell &shell();

} // namespace ota::test
