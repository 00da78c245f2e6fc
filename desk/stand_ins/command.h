// SPDX-License-Identifier: MIT
// What becomes of a shell command that the agent runs on a desk.
#ifndef DESK_STAND_INS_COMMAND_H
#define DESK_STAND_INS_COMMAND_H

#include <string>

namespace desk {

struct Verdict {
    enum class Kind {
        reboot, // ask the desk
        run,    // `text` is the command for the shell in the node's folder
        refuse  // `text` says why
    };
    Kind kind;
    std::string text;
};

// The node's temporary directory is its folder, so the agent's two fixed paths below /tmp are
// meant inside it. Else only what the agent has use for runs: one rm, or one echo into a file, of
// plain names that stay inside the folder.
Verdict judgeCommand(const std::string &command);

} // namespace desk

#endif
