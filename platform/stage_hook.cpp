// SPDX-License-Identifier: MIT
// Who wants to know what the node does with its banks is told before it does it.
#include "platform/stage.h"

namespace {

void (*follower)(NalStage) = nullptr;

} // namespace

void nalOnStage(void (*told)(NalStage)) { follower = told; }

void platform::tellStage(NalStage stage) {
    if (follower != nullptr) {
        follower(stage);
    }
}
