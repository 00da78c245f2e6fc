// SPDX-License-Identifier: MIT
// The address that names the node, as it is now.
#ifndef BASE_BRIDGE_ADDRESS_H
#define BASE_BRIDGE_ADDRESS_H

#include <string>

namespace base {

/*
 * Of the bridge "br0", "02:00:5E:10:00:01", as the agent asks for it and spells it; empty where
 * there is no such interface. Does not block.
 */
std::string bridgeAddress();

} // namespace base

#endif
