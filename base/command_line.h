// SPDX-License-Identifier: MIT
// The command line of every program, as a table: what may be given, and where it goes.
#ifndef BASE_COMMAND_LINE_H
#define BASE_COMMAND_LINE_H

#include "base/command_values.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace base {

constexpr int kWrongUse = 2; // exit code

enum class Times { atMostOnce, once, any, someAndRest };

/* An option, or an argument that is known by its place. */
struct Parameter {
    std::string name; // "--until-idle", "-n" or "-n,--count"; an argument's has no dashes
    Value value;
    std::string text; // for the help
    /* Only an argument is someAndRest: at its first word the options are over. A flag may always be
     * given again. */
    Times times = Times::atMostOnce;
    std::vector<std::string> needs{};    // options
    std::vector<std::string> excludes{}; // options
};

/* A program, or a verb of one. Each also has -h and --help. */
struct Command {
    std::string name;
    std::string summary;
    std::vector<Parameter> options{}; // taken behind its verbs, too
    std::vector<Parameter> arguments{};
    std::vector<Command> verbs{}; // where there are some, one of them must be given
    std::function<int()> run{};   // does what was asked for; its exit code
    std::string footer{};         // of the help
    std::string version{};        // empty: there is no --version
};

/* What the words of a command line say. */
struct Parsed {
    const Command *command = nullptr; // the innermost that was named
    std::string path;                 // its name behind those of all above it
    bool help = false;
    bool version = false;
    std::string wrong; // what is, one line of printable ASCII; empty: nothing
};

/*
 * Reads the words, the program's name first. A name must be given whole: a script must not change
 * its meaning when an option is added. Also of a wrong command line everything else is read, so
 * that a --json behind the mistake counts.
 */
Parsed parse(const Command &program, std::vector<std::string> words);

/* Every option of the command itself, -h,--help among them. */
std::vector<Parameter> optionsOf(const Command &command);

std::string helpText(const Command &command, const std::string &path);

/* "what is wrong; see PROGRAM VERB --help". */
std::string withAdvice(const Parsed &parsed);

/* Prints what was asked for, or what is wrong; the exit code. None: nothing of this, go on. */
std::optional<int> answer(const Command &program, const Parsed &parsed);

/* The same; ends the process instead. */
Parsed parseOrExit(const Command &program, int argc, char **argv);

/* Ends the process with what is wrong with its command line. */
[[noreturn]] void refuse(const Command &program, const std::string &what);

/* The same, and runs the command; the exit code. */
int runCommand(const Command &program, int argc, char **argv);

} // namespace base

#endif
