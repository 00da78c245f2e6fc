// SPDX-License-Identifier: MIT
#include "platform/reason_hook.h"

namespace {

void (*follower)(const base::Error &error) = nullptr;

} // namespace

void nalOnReason(void (*told)(const base::Error &error)) { follower = told; }

void platform::tellReason(const base::Error &error) {
    if (follower != nullptr) {
        follower(error);
    }
}
