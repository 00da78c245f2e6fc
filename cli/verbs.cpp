// SPDX-License-Identifier: MIT
// Every verb of otactl: one table, and a declaration for each row.
#include "cli/verbs.h"

#include "base/nearest.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace otactl {
namespace {

constexpr std::array kVerbs = {
    Verb{"offer", "Offer a new image to the node", declareOffer},
    Verb{"trigger", "Say go for the user of the mobile app", declareTrigger},
    Verb{"activate-at", "Set the time of day of the activation", declareActivateAt},
    Verb{"cancel", "End a request; the node is idle then", declareCancel},
    Verb{"status", "Show the node as it is now", declareStatus},
    Verb{"watch", "Follow the node: progress, status words, timers", declareWatch},
    Verb{"history", "Show the newest events", declareHistory},
    Verb{"explain", "Say why nothing happens now and what will happen when, or what a code means",
         declareExplain},
    Verb{"banks", "Show what the two banks hold, and which versions failed", declareBanks},
    Verb{"commit", "Mark the running bank good, where it is on trial", declareCommit},
    Verb{"forget", "Let a version in again that failed its trial", declareForget},
    Verb{"set", "Change a setting of the node; it is kept", declareSet},
    Verb{"config", "Work on a configuration file, without the service", declareConfig},
    Verb{"sign", "Sign an image file, without the service", declareSign},
    Verb{"verify", "Check signature and payload of an image file, without the service",
         declareVerify},
};

} // namespace

std::span<const Verb> verbs() { return kVerbs; }

std::string wrongVerb(int argc, const char *const *argv) {
    std::vector<std::string> names;
    for (const Verb &verb : verbs()) {
        names.emplace_back(verb.name);
    }
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--bus") {
            ++i; // its address
        } else if (!word.starts_with('-')) {
            const bool known = std::find(names.begin(), names.end(), word) != names.end();
            return known ? "" : word + ": there is no such verb" + base::didYouMean(word, names);
        }
    }
    return "";
}

CLI::Validator wholeNumber() {
    CLI::Range range(std::uint64_t{0}, std::uint64_t{1} << 53U);
    range.description("");
    return range;
}

void declareAll(CLI::App &app, Globals &globals, Action &chosen) {
    app.add_option("--bus", globals.bus, "Address of the bus; the system bus if not given")
        ->type_name("ADDRESS");
    app.add_flag("--json", globals.json, "Print JSON, one object a line");
    app.set_version_flag("--version", OTA_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    for (const Verb &verb : verbs()) {
        CLI::App *const command = app.add_subcommand(verb.name, verb.summary);
        command->fallthrough();
        const Action action = verb.declare(*command);
        command->final_callback([&chosen, action] { chosen = action; });
    }
}

} // namespace otactl
