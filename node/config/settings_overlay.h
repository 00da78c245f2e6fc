// SPDX-License-Identifier: MIT
// The settings that were changed at run time: they hold instead of those of node.conf.
#ifndef NODE_CONFIG_SETTINGS_OVERLAY_H
#define NODE_CONFIG_SETTINGS_OVERLAY_H

#include "node/config/config.h"

#include <optional>
#include <string>

namespace node {

/* The keys of [node] that may change; each text is one that node.conf would accept there. */
struct Overlay {
    std::optional<std::string> workMode;
    std::optional<std::string> workRole;
    std::optional<std::string> onboarding; // "0" or "1"
    std::optional<std::string> preferredActivationTime;
};

/*
 * Reads the file; one that does not exist is an empty overlay. An error names the file, the line
 * where there is one, and what was expected.
 */
base::Result<Overlay> readOverlay(const std::string &path);

/* The text of the file. Line ends, " ;" and blanks at an end of a value would not survive it. */
std::string printOverlay(const Overlay &overlay);

/* Puts the overlay's values in the place of the configuration's. */
void applyOverlay(const Overlay &overlay, Config &config);

} // namespace node

#endif
