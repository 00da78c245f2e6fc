// SPDX-License-Identifier: MIT
#include "cli/governed.h"

#include "platform/timers.h"

#include <algorithm>

namespace cli {

std::string governedBy(const Node &node) {
    const bool waits = std::any_of(node.timers.begin(), node.timers.end(),
                                   [](const Timer &timer) { return timer.name == TIMER_REBOOT; });
    return waits && node.ticket != 0
               ? "it governs " + node.version + " (ticket " + std::to_string(node.ticket) + ")"
               : "it governs the next image of policy 0, until the node boots or another time is "
                 "named";
}

} // namespace cli
