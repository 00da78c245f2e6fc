// SPDX-License-Identifier: MIT
// The command line of ota-report: a function for each verb.
#ifndef REPORT_VERBS_H
#define REPORT_VERBS_H

#include "base/command_line.h"

#include <string>

namespace report {

/* What a command line says. */
struct Asked {
    std::string bus; // empty: the system bus
    bool json = false;
    std::string output; // empty: standard output, or a name of its own
    std::string config; // the node's configuration file
};

/* Each: what is asked outlives the command. */
base::Command metricsVerb(Asked &asked);
base::Command supportBundleVerb(Asked &asked);

} // namespace report

#endif
