// SPDX-License-Identifier: MIT
// The command line of every program, as a table: what may be given, and where it goes.
#ifndef BASE_COMMAND_LINE_H
#define BASE_COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace base {

/* What may stand behind an option, and where it goes. */
struct Value {
    std::string shown; // in the help, such as FILE; empty: none is taken, a flag
    /* Puts it where it goes; answers with what was expected instead, empty: nothing is wrong. */
    std::function<std::string(std::string_view)> set;
    std::string usual{}; // what holds where none is given, for the help
};

Value flag(bool &target);

/* A text or a path. What the target holds already is shown as the usual one. */
template <class Text>
Value text(const std::string &shown, Text &target) {
    return {shown,
            [&target](std::string_view given) {
                target = given;
                return std::string();
            },
            std::string(target)};
}

template <class Text>
Value listed(const std::string &shown, std::vector<Text> &target) {
    return {shown, [&target](std::string_view given) {
                target.emplace_back(given);
                return std::string();
            }};
}

/* A whole decimal number within the bounds. */
Value wholeNumber(const std::string &shown, std::int64_t least, std::int64_t most,
                  std::function<void(std::int64_t)> take);

template <class Number>
Value number(const std::string &shown, Number &target,
             std::int64_t least = std::numeric_limits<Number>::min(),
             std::int64_t most = std::numeric_limits<Number>::max()) {
    return wholeNumber(shown, least, most,
                       [&target](std::int64_t taken) { target = static_cast<Number>(taken); });
}

Value oneOf(const std::vector<std::string> &words, std::function<void(std::size_t)> take);
Value oneOf(const std::vector<std::string> &words, std::string &target);

template <class Meaning>
Value oneOf(const std::vector<std::pair<std::string, Meaning>> &meanings, Meaning &target) {
    std::vector<std::string> words;
    words.reserve(meanings.size());
    for (const auto &[word, meaning] : meanings) {
        words.push_back(word);
    }
    return oneOf(words, [meanings, &target](std::size_t at) { target = meanings[at].second; });
}

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
