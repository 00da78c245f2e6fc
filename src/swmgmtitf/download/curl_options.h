// SPDX-License-Identifier: MIT
// How a transfer is set up.
#pragma once

#include "swmgmtitf/download/download.h"

namespace ota::download {

// Sets every option in its order. False: https, and no CA certificate file.
bool configure(Transfer &transfer, HttpInfo &info);

} // namespace ota::download
