// SPDX-License-Identifier: MIT
// Every verb of otactl: one table, and a declaration for each row.
#ifndef CLI_VERBS_H
#define CLI_VERBS_H

#include <CLI/CLI.hpp>

#include <functional>
#include <span>
#include <string>

namespace otactl {

/* What is given before or behind any verb. */
struct Globals {
    std::string bus; // empty: the system bus
    bool json = false;
};

/* Does what the verb says and returns the exit code; throws Failure. */
using Action = std::function<int(const Globals &)>;

struct Verb {
    const char *name;
    const char *summary;
    /* Adds the verb's options to its command line; the action holds what they were given. */
    Action (*declare)(CLI::App &command);
};

std::span<const Verb> verbs();

/* What is wrong with the word in the place of the verb, one line; empty: nothing, or there is none.
 */
std::string wrongVerb(int argc, const char *const *argv);

/* Accepts whole numbers that JSON carries exactly; without it a negative or an endless one would be
 * taken for another number. */
CLI::Validator wholeNumber();

/* The whole command line. `chosen` is the action of the verb that a parse finds. */
void declareAll(CLI::App &app, Globals &globals, Action &chosen);

Action declareOffer(CLI::App &command);
Action declareTrigger(CLI::App &command);
Action declareActivateAt(CLI::App &command);
Action declareCancel(CLI::App &command);
Action declareStatus(CLI::App &command);
Action declareWatch(CLI::App &command);
Action declareHistory(CLI::App &command);
Action declareExplain(CLI::App &command);
Action declareBanks(CLI::App &command);
Action declareCommit(CLI::App &command);
Action declareForget(CLI::App &command);
Action declareSet(CLI::App &command);
Action declareConfig(CLI::App &command);
Action declareSign(CLI::App &command);
Action declareVerify(CLI::App &command);

} // namespace otactl

#endif
