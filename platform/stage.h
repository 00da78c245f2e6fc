// SPDX-License-Identifier: MIT
// The node library's side of the stage hook.
#ifndef PLATFORM_STAGE_H
#define PLATFORM_STAGE_H

#include "platform/stage_hook.h"

namespace platform {

/* Tells whoever asked for it with nalOnStage. */
void tellStage(NalStage stage);

} // namespace platform

#endif
