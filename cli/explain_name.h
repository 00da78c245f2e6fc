// SPDX-License-Identifier: MIT
// What a code, an outcome, a reason or a status word means, without the service.
#ifndef CLI_EXPLAIN_NAME_H
#define CLI_EXPLAIN_NAME_H

#include "cli/verbs.h"

#include <string>

namespace cli {

/* Prints it; the exit code. Throws Failure where nothing is called so. */
int explainName(const std::string &name, const Globals &globals);

} // namespace cli

#endif
