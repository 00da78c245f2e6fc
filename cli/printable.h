// SPDX-License-Identifier: MIT
// Texts of others, made safe to show on a terminal.
#ifndef CLI_PRINTABLE_H
#define CLI_PRINTABLE_H

#include "base/printable.h"

namespace cli {

using base::isBusText;
using base::printable;

} // namespace cli

#endif
