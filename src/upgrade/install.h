// SPDX-License-Identifier: MIT
// What the steps of an installation share.
#pragma once

#include "otaSwAgent/agent.h"

namespace ota::install {

// The operation that all steps log under.
inline constexpr char kUpgrade[] = "upgrade";

} // namespace ota::install
