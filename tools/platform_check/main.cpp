// SPDX-License-Identifier: MIT
// ota-platform-check: what is right with a platform, and what is not.
#include "base/failure.h"
#include "base/file_io.h"
#include "base/program.h"
#include "tools/platform_check/report.h"

namespace {

using check::Options;

constexpr int kSomethingWrong = 1;

void requireSense(Options &options) {
    if (options.destructive && options.copy.empty() && options.reset.empty()) {
        throw base::Failure(base::Outcome::wrongUse,
                            "--destructive also needs --copy or --reset: an activated bank is not "
                            "written over",
                            "give the node's folder, or the command that makes the node as it was");
    }
    if (options.bankA.empty() != options.bankB.empty()) {
        throw base::Failure(base::Outcome::wrongUse, "--bank-a and --bank-b belong together");
    }
    const auto path = base::realPathOf(options.platform);
    if (!path) {
        throw base::Failure(base::Outcome::wrongUse,
                            base::systemReason(options.platform + ": cannot be reached"),
                            "give a platform's library");
    }
    options.platform = *path; // the checks have working directories of their own
}

int perform(Options &options) {
    if (options.list) {
        check::printList();
        return 0;
    }
    if (options.platform.empty()) {
        throw base::Failure(base::Outcome::wrongUse, "FILE is missing", "see --help");
    }
    requireSense(options);
    if (options.plan) {
        check::printPlan(options);
        return 0;
    }
    const bool json = options.json;
    const auto results = check::makeChecks(options, [json](const check::Result &result) {
        if (!json) {
            check::printResult(result);
        }
    });
    if (json) {
        check::printAsJson(options.platform, results);
    } else {
        check::printSum(results);
    }
    if (!options.junit.empty()) {
        check::writeJunit(options.junit, results);
    }
    return check::isAllRight(results) ? 0 : kSomethingWrong;
}

// 1 is what a wrong platform ends with: a check that could not be made is something else.
int performOrTell(const std::string &program, Options &options) {
    try {
        return perform(options);
    } catch (const base::Failure &failure) {
        base::tellFailure(program, failure, options.json);
        return base::kWrongUse;
    }
}

std::vector<base::Parameter> optionsOf(Options &options) {
    using base::flag;
    using base::text;
    constexpr std::int64_t kMostSeconds = 24L * 3600;
    constexpr std::int64_t kMostPoints = 100000;
    return {
        {"--json", flag(options.json), "Print one JSON object"},
        {"--junit", text("FILE", options.junit), "Also write the results as JUnit XML"},
        {"--list", flag(options.list), "List all checks and what each holds a platform to"},
        {"--plan", flag(options.plan), "List what would be done; load nothing, touch nothing"},
        {"--only", base::listed("NAME", options.only), "Make this check or this group alone",
         base::Times::any},
        {"--destructive", flag(options.destructive), "Write and activate banks, too"},
        {"--copy", text("FOLDER", options.copy),
         "Make each check in a fresh copy of this folder, as working directory"},
        {"--reset", text("COMMAND", options.reset),
         "Makes the node as it was, before a check that follows one that wrote"},
        {"--boot", text("COMMAND", options.boot), "Chooses the bank as the boot loader does"},
        {"--make-image", text("COMMAND", options.makeImage),
         "Makes an image: COMMAND FILE SIZE VERSION; else it is random bytes"},
        {"--bank-a", text("FILE", options.bankA), "Bank number 0, to be read"},
        {"--bank-b", text("FILE", options.bankB), "Bank number 1, to be read"},
        {"--capacity", base::number("BYTES", options.capacity, 1),
         "What a bank holds, where the platform does not say it"},
        {"--config", text("FILE", options.config), "The configuration that the platform opens"},
        {"--commands", flag(options.commands),
         "Let the platform run programs; as root, with those that reboot covered"},
        {"--limit", base::number("SECONDS", options.limit, 1, kMostSeconds),
         "How long a write, an activation or a health check may take; 300 if not given"},
        {"--kill-points", base::number("NUMBER", options.killPoints, 1, kMostPoints),
         "At how many points of a call its process is killed at most; 40 if not given"},
        {"--turn", text("FUNCTION", options.turn),
         "A function of the platform that lets its timers run out"},
    };
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    const std::string name = "ota-platform-check";
    const base::Command program{
        .name = name,
        .summary = "Load a platform, run it, and say what is right and what is not",
        .options = optionsOf(options),
        .arguments = {{"file", base::text("FILE", options.platform), "The platform's library"}},
        .run = [&] { return performOrTell(name, options); },
        .version = OTA_VERSION};
    return base::runProgram(program, argc, argv, options.json);
}
