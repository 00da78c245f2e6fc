// SPDX-License-Identifier: MIT
// The node library's side of the stage hook.
#ifndef PLATFORM_NAL_STAGE_H
#define PLATFORM_NAL_STAGE_H

#include "platform/nal/stage_hook.h"

namespace nal {

/* Tells whoever asked for it with nalOnStage. */
void tellStage(NalStage stage);

} // namespace nal

#endif
