// SPDX-License-Identifier: MIT
#include "platform/hooks.h"

namespace {

void (*stageFollower)(NalStage) = nullptr;
void (*reasonFollower)(const base::Error &error) = nullptr;
const char *(*askOffered)() = nullptr;

} // namespace

void nalOnStage(void (*told)(NalStage)) { stageFollower = told; }

void nalOnReason(void (*told)(const base::Error &error)) { reasonFollower = told; }

void nalAskOffered(const char *(*ask)()) { askOffered = ask; }

namespace platform {

void tellStage(NalStage stage) {
    if (stageFollower != nullptr) {
        stageFollower(stage);
    }
}

void tellReason(const base::Error &error) {
    if (reasonFollower != nullptr) {
        reasonFollower(error);
    }
}

std::string offeredVersion() { return askOffered == nullptr ? "" : askOffered(); }

} // namespace platform
