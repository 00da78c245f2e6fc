// SPDX-License-Identifier: MIT
// Options and messages of the storage tools.
#ifndef PLATFORM_NAL_TOOLS_COMMAND_LINE_H
#define PLATFORM_NAL_TOOLS_COMMAND_LINE_H

#include <map>
#include <string>
#include <string_view>

namespace tools {

constexpr int kWrongUse = 2;
constexpr int kNotTrusted = 9; // others than root and this user could change what was named

struct Program {
    const char *name;
    const char *use;
};

/* The name of each option that is wanted, and its value. */
using Options = std::map<std::string_view, std::string>;

/* Where an argument is --help: prints how to call, true. */
bool helpWasGiven(const Program &program, int argc, char **argv);
/* One line on standard error: what is wrong with the call, and how to call. kWrongUse. */
int reportUse(const Program &program, const std::string &what);
/* One line on standard error. False. */
bool reportFailure(const Program &program, const std::string &what);
/*
 * Reads "--name value" pairs behind the verb; every option must be given, but for the optional one.
 * False: reported.
 */
bool readOptions(const Program &program, int argc, char **argv, Options &options,
                 std::string_view optional = {});

} // namespace tools

#endif
