// SPDX-License-Identifier: MIT
// ota-config: works on a configuration file.
#include "base/program.h"
#include "tools/verbs.h"

int main(int argc, char **argv) {
    const std::string name = tools::nameOf(argv[0]);
    tools::Caller caller{name.substr(0, name.find(' '))};
    const base::Command program{.name = name,
                                .summary = "Work on a configuration file, without the service",
                                .options = {tools::jsonOption(caller)},
                                .verbs = {tools::checkVerb(caller)},
                                .version = OTA_VERSION};
    return base::runProgram(program, argc, argv, caller.json);
}
