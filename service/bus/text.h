// SPDX-License-Identifier: MIT
// Texts that may travel on the bus.
#ifndef SERVICE_BUS_TEXT_H
#define SERVICE_BUS_TEXT_H

#include <string>
#include <string_view>

namespace service {

// The text with each byte that is not part of valid UTF-8, and each NUL, quoted \xNN. A bus closes
// the connection of whoever sends it such a byte.
std::string busText(std::string_view text);

} // namespace service

#endif
