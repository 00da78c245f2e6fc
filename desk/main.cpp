// SPDX-License-Identifier: MIT
// The program ota-desk: a node on this desk.
#include "base/command_line.h"
#include "desk/demo.h"

#include <string>

int main(int argc, char **argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments.front() == "demo") {
        return desk::demo({arguments.begin() + 1, arguments.end()});
    }
    if (!arguments.empty() && (arguments.front() == "--help" || arguments.front() == "-h")) {
        return desk::demo({"--help"}); // there is nothing else to do
    }
    base::refuse({.name = "ota-desk", .summary = ""}, "the verb demo is missing");
}
