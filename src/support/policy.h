// SPDX-License-Identifier: MIT
// The upgrade policies of a descriptor; any other value schedules nothing.
#pragma once

#include <stdint.h>

namespace ota {

inline constexpr int32_t kActivateOnSchedule = 0; // at the activation time
inline constexpr int32_t kActivateAtOnce = 1;     // after the write, then reboot
inline constexpr int32_t kWriteOnly = 2;          // a download triggered from the portal
inline constexpr int32_t kActivateOnArrival = 3;  // before any version check

} // namespace ota
