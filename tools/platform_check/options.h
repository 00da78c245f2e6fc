// SPDX-License-Identifier: MIT
// What the command line says.
#ifndef TOOLS_PLATFORM_CHECK_OPTIONS_H
#define TOOLS_PLATFORM_CHECK_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

namespace check {

struct Options {
    std::string platform; // the library
    bool json = false;
    std::string junit; // a file; empty: none
    bool plan = false;
    bool list = false;
    bool destructive = false;
    bool commands = false; // the platform may run programs
    std::vector<std::string> only;
    std::string config; // for the platform's `open`
    std::string copy;   // a folder, of which each check has a copy
    std::string reset;  // command
    std::string boot;   // command
    std::string makeImage;
    std::string bankA;
    std::string bankB;
    std::int64_t capacity = 0; // of a bank; 0: the platform's table says it
    int limit = 300;           // seconds
    int killPoints = 40;
    std::string turn; // a function of the platform
};

} // namespace check

#endif
