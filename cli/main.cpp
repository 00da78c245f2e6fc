// SPDX-License-Identifier: MIT
// otactl: talks to the upgrade service of this node; what needs no service it hands over to a tool.
#include "base/failure.h"
#include "base/program.h"
#include "cli/hand_over.h"
#include "cli/verbs.h"

#include <algorithm>
#include <string>
#include <vector>

int main(int argc, char **argv) {
    cli::Globals globals;
    const std::vector<std::string> words(argv, argv + argc);
    try {
        cli::handOver(words);
    } catch (const base::Failure &failure) {
        const bool json = std::find(words.begin(), words.end(), "--json") != words.end();
        return base::tellFailure("otactl", failure, json);
    }
    return base::runProgram(cli::commandLine(globals), argc, argv, globals.json);
}
