// SPDX-License-Identifier: MIT
// What the last attempt left behind.
#pragma once

namespace ota::download {

// Removes the images and temporary files of the last attempt.
void removeLeftovers();

} // namespace ota::download
