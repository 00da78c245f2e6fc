// SPDX-License-Identifier: MIT
// otactl: talks to the upgrade service of this node; what needs no service it hands over to a tool.
#include "base/failure.h"
#include "base/program.h"
#include "cli/hand_over.h"
#include "cli/verbs.h"

int main(int argc, char **argv) {
    cli::Globals globals;
    try {
        cli::handOver({argv, argv + argc});
    } catch (const base::Failure &failure) {
        return base::tellFailure("otactl", failure, false);
    }
    return base::runProgram(cli::commandLine(globals), argc, argv, globals.json);
}
