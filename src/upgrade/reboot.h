// SPDX-License-Identifier: MIT
// The last steps of an activation, shared by all roads that end in a reboot.
#pragma once

namespace ota {

// Sleeps, then starts the reboot. Returns: the command only begins the shutdown.
void pauseAndReboot(unsigned seconds);

// Writes the activated version into the marker, reports, waits 10 s, starts the reboot.
void markReportAndReboot();

// Reports that the passive bank could not be activated; no reboot is scheduled any more.
void reportFailedActivation();

} // namespace ota
