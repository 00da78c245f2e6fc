// SPDX-License-Identifier: MIT
// Texts of others, made safe to show on a terminal.
#ifndef CLI_PRINTABLE_H
#define CLI_PRINTABLE_H

#include "host/printable.h"

namespace otactl {

using host::isBusText;
using host::printable;

} // namespace otactl

#endif
