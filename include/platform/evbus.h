/* SPDX-License-Identifier: MIT */
/* The message bus on the node. */
#ifndef PLATFORM_EVBUS_H
#define PLATFORM_EVBUS_H

#ifdef __cplusplus
extern "C" {
#endif

/* The agent's name on the bus, and the one signal that it raises. */
#define EVBUS_AGENT_NAME "velmo.otaSwAgent"
#define EVBUS_STATUS_SIGNAL "updateUpgradeStatus"

/*
 * Raises a signal. `data`: `dataLen` bytes, NUL included, the caller's; or null with 0.
 * 0: the bus took it. Any other value: it did not; the agent logs that and goes on, nothing
 * is sent again. May block for as long as the bus takes.
 */
int evbusSendSignal(const char *sender, const char *signalName, const char *data, int dataLen);

#ifdef __cplusplus
}
#endif

#endif
