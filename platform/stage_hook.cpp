// SPDX-License-Identifier: MIT
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
