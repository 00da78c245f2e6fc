// SPDX-License-Identifier: MIT
// The local time as a stamp.
#include <time.h>

#include "support/local_time.h"
#include "support/log.h"
#include "support/text.h"
#include "upgrade/unit.h"

namespace {

constexpr size_t kStampWidth = 20; // "yyyy-mm-ddThh:mm:ss"

} // namespace

void getCurrentTime(char *text) {
    const struct tm local = ota::localTime(time(nullptr));
    ota::formatCut(text, kStampWidth, "%04d-%02d-%02dT%02d:%02d:%02d", local.tm_year + 1900,
                   local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    // Kept: the platform's copy carries the debug log's prefix inside its body.
    OTA_TRACE("Current System Time = %s", text);
    OTA_PLATFORM_NOTICE("%s():%d: Current System Time = %s", __func__, __LINE__, text);
}
