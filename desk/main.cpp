// SPDX-License-Identifier: MIT
// The program ota-desk: a node on this desk.
#include "desk/demo.h"

#include <cstdio>
#include <string>

int main(int argc, char **argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments.front() == "demo") {
        return desk::demo({arguments.begin() + 1, arguments.end()});
    }
    std::fprintf(stderr, "usage: ota-desk demo [options]; see ota-desk demo --help\n");
    return desk::kBadOption;
}
