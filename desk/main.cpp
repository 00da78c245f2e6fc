// SPDX-License-Identifier: MIT
// The program ota-desk: a node on this desk.
#include "desk/demo.h"
#include "desk/options.h"
#include "desk/roads.h"

#include <cstdio>
#include <string>

int main(int argc, char **argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments.front() == "demo") {
        return desk::demo({arguments.begin() + 1, arguments.end()});
    }
    if (arguments.size() == 1 && arguments.front() == "--help") {
        std::printf("%s", desk::helpText(desk::combinations()).c_str());
        return desk::kCommitted;
    }
    std::fprintf(stderr, "usage: ota-desk demo [options]; see ota-desk demo --help\n");
    return desk::kBadOption;
}
