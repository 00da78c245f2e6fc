// SPDX-License-Identifier: MIT
// What the tools have in common with otactl's verbs of the same name, which hand over to them.
#ifndef TOOLS_VERBS_H
#define TOOLS_VERBS_H

#include "base/command_line.h"

#include <string>

namespace tools {

struct Caller {
    std::string program; // as it was called
    bool json = false;
};

/* Under which name the program was called, without its folder. */
std::string nameOf(const char *argument);

/* The option of every tool that prints JSON on demand. */
base::Parameter jsonOption(Caller &caller);

/* Each: what was called outlives the command. */
base::Command signVerb(const Caller &caller);
base::Command verifyVerb(const Caller &caller);
base::Command checkVerb(const Caller &caller);

} // namespace tools

#endif
