// SPDX-License-Identifier: MIT
// Texts that may travel on the bus.
#ifndef HOST_DAEMON_BUS_TEXT_H
#define HOST_DAEMON_BUS_TEXT_H

#include <string>
#include <string_view>

namespace otad {

// The text with each byte that is not part of valid UTF-8, and each NUL, spelled \xNN. A bus closes
// the connection of whoever sends it such a byte.
std::string busText(std::string_view text);

} // namespace otad

#endif
