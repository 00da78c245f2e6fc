// SPDX-License-Identifier: MIT
// What is left of an upgrade that was cancelled, or of a call, is taken back.
#ifndef PLATFORM_ABANDON_H
#define PLATFORM_ABANDON_H

#include "base/result.h"

/*
 * The running bank boots next where another one was chosen and has not booted; the activation mark,
 * the downloaded images, the progress file and the file for the mobile app are removed. Everything
 * else stays, an image in the passive bank too. Call it between two calls of the agent, after
 * nalOpen. After an error the rest was done as far as it could be.
 */
base::Result<void> nalAbandon();

/*
 * Removes the downloaded images: the agent needs one within the call that fetched it and no longer.
 * Call it between two calls of the agent, after nalOpen. After an error
 * the rest was done as far as it could be.
 */
base::Result<void> nalDropImages();

/*
 * Removes the file that tells the mobile app of an offer, where it is. Call it after nalOpen.
 */
base::Result<void> nalDropAgentData();

/*
 * What the passive bank holds does not count as an image any more; a bank that was activated is
 * left alone. Call it between two calls of the agent, after nalOpen. After an error
 * the bank is as before.
 */
base::Result<void> nalGiveUpPassive();

#endif
