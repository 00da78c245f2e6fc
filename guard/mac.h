// SPDX-License-Identifier: MIT
// MAC addresses as texts.
#ifndef GUARD_MAC_H
#define GUARD_MAC_H

#include "guard/refusal.h"

#include <optional>
#include <string_view>

namespace guard {

/* "AA:BB:CC:DD:EE:FF", in any case. */
bool isMac(std::string_view text);

/* The same address in another case is the same. */
bool sameMac(std::string_view a, std::string_view b);

/* Nothing: the text is a MAC address, and this node's. */
std::optional<Refusal> checkMac(const char *key, std::string_view text, std::string_view own);

} // namespace guard

#endif
