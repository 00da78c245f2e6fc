// SPDX-License-Identifier: MIT
// Verbs of otactl that a tool does, which takes the place of otactl.
#ifndef CLI_HAND_OVER_H
#define CLI_HAND_OVER_H

#include "base/command_line.h"

#include <string>
#include <vector>

namespace cli {

/* The verbs with their summaries, for the help and for who mistypes one. */
std::vector<base::Command> handedOverVerbs();

/*
 * Returns where the words of the command line name none of these verbs. Else the process becomes
 * the tool, beside otactl or in its folder of the build; throws Failure where that is not there.
 */
void handOver(const std::vector<std::string> &words);

} // namespace cli

#endif
