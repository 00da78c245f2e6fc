// SPDX-License-Identifier: MIT
// Filling the timer request; otaSwAgentStartStopTimer applies it.
#pragma once

#include "otaSwAgent/globals.h"
#include "platform/timers.h"
#include "support/text.h"

namespace ota {

inline constexpr int32_t kStop = 0; // seconds that ask for a stop
// How long an onboarding gateway waits for the mobile app, and before a swap.
inline constexpr int32_t kOnboardingWindow = 30 * 60;

inline void requestTimer(int32_t seconds, const char *name) {
    g_timerToSwmgnt = seconds;
    setText(g_timerTypeToSwmgnt, name);
}

} // namespace ota
