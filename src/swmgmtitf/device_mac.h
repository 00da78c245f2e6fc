// SPDX-License-Identifier: MIT
// The node's own MAC, against which every offer is checked.
#pragma once

#include <strings.h>

#include "otaSwAgent/agent.h"
#include "support/text.h"

namespace ota {

// The bridge whose address names the node.
inline constexpr char kBridgeInterface[] = "br0";

struct DeviceMac {
    char text[OTA_MAC_WIDTH]{};

    // Stays empty where the address cannot be had.
    DeviceMac() {
        getIfMac(kBridgeInterface, text, sizeof text);
        terminate(text);
    }

    bool is(const char *mac) const { return strcasecmp(text, mac) == 0; }
};

} // namespace ota
