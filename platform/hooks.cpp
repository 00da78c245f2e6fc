// SPDX-License-Identifier: MIT
#include "platform/hooks.h"

namespace {

void (*emptiedFollower)() = nullptr;
void (*reasonFollower)(const base::Error &error) = nullptr;
const char *(*askOffered)() = nullptr;

} // namespace

void nalOnEmptied(void (*told)()) { emptiedFollower = told; }

void nalOnReason(void (*told)(const base::Error &error)) { reasonFollower = told; }

void nalAskOffered(const char *(*ask)()) { askOffered = ask; }

namespace platform {

void tellEmptied() {
    if (emptiedFollower != nullptr) {
        emptiedFollower();
    }
}

void tellReason(const base::Error &error) {
    if (reasonFollower != nullptr) {
        reasonFollower(error);
    }
}

std::string offeredVersion() { return askOffered == nullptr ? "" : askOffered(); }

} // namespace platform
