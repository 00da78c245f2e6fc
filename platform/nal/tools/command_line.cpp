// SPDX-License-Identifier: MIT
// Options and messages of the storage tools.
#include "platform/nal/tools/command_line.h"

#include "host/printable.h"

#include <algorithm>
#include <cstdio>

namespace tools {

bool helpWasGiven(const Program &program, int argc, char **argv) {
    const bool given = std::any_of(argv, argv + argc, [](const char *argument) {
        return std::string_view(argument) == "--help";
    });
    if (given) {
        std::printf("use: %s\n", program.use);
    }
    return given;
}

int reportUse(const Program &program, const std::string &what) {
    std::fprintf(stderr, "%s: %s; use: %s\n", program.name, host::printable(what).c_str(),
                 program.use);
    return kWrongUse;
}

bool reportFailure(const Program &program, const std::string &what) {
    std::fprintf(stderr, "%s: %s\n", program.name, host::printable(what).c_str());
    return false;
}

bool readOptions(const Program &program, int argc, char **argv, Options &options,
                 std::string_view optional) {
    for (int i = 2; i < argc; i += 2) {
        const auto option = options.find(argv[i]);
        if (option == options.end() || i + 1 == argc) {
            reportUse(program, std::string("the option ") + argv[i] +
                                   (option == options.end() ? " is unknown" : " has no value"));
            return false;
        }
        option->second = argv[i + 1];
    }
    for (const auto &[name, value] : options) {
        if (value.empty() && name != optional) {
            reportUse(program, "the option " + std::string(name) + " is missing");
            return false;
        }
    }
    return true;
}

} // namespace tools
