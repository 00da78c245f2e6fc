// SPDX-License-Identifier: MIT
// Who wants to know why the node did not do what the agent asked of it is told.
#ifndef PLATFORM_REASON_HOOK_H
#define PLATFORM_REASON_HOOK_H

#include "base/result.h"

/*
 * Called on the agent's thread behind each write or activation that failed. One at a time; null, as
 * at the beginning: none.
 */
void nalOnReason(void (*told)(const base::Error &error));

namespace platform {

/* Tells whoever asked for it. */
void tellReason(const base::Error &error);

} // namespace platform

#endif
