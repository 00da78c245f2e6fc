// SPDX-License-Identifier: MIT
// The command line of otactl: a function for each verb.
#ifndef CLI_VERBS_H
#define CLI_VERBS_H

#include "base/command_line.h"

#include <cstdint>
#include <string>

namespace cli {

/* What is given before or behind any verb. */
struct Globals {
    std::string bus; // empty: the system bus
    bool json = false;
};

/* The largest whole number that JSON carries exactly. */
constexpr std::int64_t kMostExact = std::int64_t{1} << 53U;

/* The whole command line; a parse fills the globals, which outlive it. To run what was parsed may
 * throw Failure. */
base::Command commandLine(Globals &globals);

base::Command offerVerb(const Globals &globals);
base::Command triggerVerb(const Globals &globals);
base::Command activateAtVerb(const Globals &globals);
base::Command cancelVerb(const Globals &globals);
base::Command statusVerb(const Globals &globals);
base::Command watchVerb(const Globals &globals);
base::Command historyVerb(const Globals &globals);
base::Command explainVerb(const Globals &globals);
base::Command banksVerb(const Globals &globals);
base::Command commitVerb(const Globals &globals);
base::Command forgetVerb(const Globals &globals);
base::Command setVerb(const Globals &globals);

} // namespace cli

#endif
