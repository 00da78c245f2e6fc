// SPDX-License-Identifier: MIT
// Makes the checks, one after the other.
#ifndef TOOLS_PLATFORM_CHECK_RUNNER_H
#define TOOLS_PLATFORM_CHECK_RUNNER_H

#include "tools/platform_check/check.h"
#include "tools/platform_check/options.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace check {

enum class Verdict {
    right,
    wrong,
    notLookedAt,
    hidden // behind another check, which is wrong
};

struct Result {
    const Check *check = nullptr;
    Verdict verdict = Verdict::right;
    std::string came; // or why it was not looked at
    std::string contract;
    std::string device;
    std::string log; // the last line that the platform wrote to standard error
    std::int64_t ms = 0;
};

/* Those that the command line asks for; throws a Failure where it names none that there is. */
std::vector<const Check *> chosenChecks(const Options &options);

/* Why a check is left out by the command line alone; empty: it is not. */
std::string whyLeftOut(const Check &check, const Options &options);

/* Tells each result as it comes. */
std::vector<Result> makeChecks(const Options &options,
                               const std::function<void(const Result &)> &tell);

} // namespace check

#endif
