// SPDX-License-Identifier: MIT
// The retry series: it outlives a call and links one attempt to the next.
#pragma once

#include "swmgmtitf/download/download.h"

namespace ota::download {

enum class Failure { ofTransfer, ofResponseCode };

// Counts a failed attempt and arms the next one. False: that was the last; it has been reported
// and the image file is closed. `responseCode` is logged for Failure::ofResponseCode.
bool armRetry(Failure failure, long responseCode, File &image);

// A transfer succeeded: the series is over.
void endSeries();

// A failed attempt of the series waits for its next one.
bool isRetryPending();

} // namespace ota::download
