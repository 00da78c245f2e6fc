// SPDX-License-Identifier: MIT
// What an upgrade that was cancelled did to the banks is taken back.
#ifndef PLATFORM_TAKE_BACK_H
#define PLATFORM_TAKE_BACK_H

#include "base/result.h"

/*
 * The running bank boots next where another one was chosen and has not booted; an image in the
 * passive bank stays. Call it between two calls of the agent, after nalOpen.
 */
base::Result<void> nalTakeBack();

/*
 * What the passive bank holds does not count as an image any more; a bank that was activated is
 * left alone. Call it between two calls of the agent, after nalOpen. After an error
 * the bank is as before.
 */
base::Result<void> nalGiveUpPassive();

#endif
