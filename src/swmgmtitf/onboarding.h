// SPDX-License-Identifier: MIT
// The one situation in which the user is given half an hour before anything happens.
#pragma once

#include "support/device_context.h"

namespace ota {

// A gateway that hears of the image on its first poll, with its onboarding still to come.
inline bool isFirstOnboardingPoll(const DeviceContext &node) {
    return node.countsAs(kGatewayMode) && otaLibConfig.initial_obardingStatus == 0 &&
           otaLibConfig.firsttime_polling == 1;
}

} // namespace ota
