// SPDX-License-Identifier: MIT
// What an activation time is for.
#ifndef CLI_GOVERNED_H
#define CLI_GOVERNED_H

#include "cli/node.h"

#include <string>

namespace cli {

/* Half a sentence on what the activation time governs, and until when. */
std::string governedBy(const Node &node);

} // namespace cli

#endif
