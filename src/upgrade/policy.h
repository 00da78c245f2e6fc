// SPDX-License-Identifier: MIT
// What follows a written image: a scheduled reboot, an immediate one, or nothing.
#pragma once

namespace ota::install {

// Acts on the descriptor's policy. May block 10 s and start the reboot; returns after it.
void applyPolicy();

} // namespace ota::install
