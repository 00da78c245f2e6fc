/* SPDX-License-Identifier: MIT */
/* The road from a mesh extender to the root node. */
#ifndef PLATFORM_NWA_H
#define PLATFORM_NWA_H

#include "otaSwAgent/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Sends the message to the root. It takes the message over and releases it with free(),
 * whatever the outcome. 0: the root has it. Any other value: it has not; the agent logs that
 * and goes on, nothing is sent again. May block.
 */
int nwa_sendNotificationToRoot(const SwmgntSyncMsg *message);

#ifdef __cplusplus
}
#endif

#endif
