// SPDX-License-Identifier: MIT
// The mobile app says go: the window ends, the download begins.
#include <stdlib.h>

#include "main/timer_control.h"
#include "support/log.h"
#include "swmgmtitf/unit.h"

namespace {

constexpr int32_t kUserAsksNow = 1;

} // namespace

void otaMobileApp_process_newimage_request(const MobileAppNotify *notify) {
    OTA_DEBUG_FIRST_NOTICE_2("Calling otaMobileApp_process_newimage_request() .",
                             "Calling otaMobileApp_process_newimage_request() ...");
    // Kept: a fixed path, not the table's.
    static_cast<void>(system("rm /tmp/ota_agent_data"));
    OTA_DEBUG_FIRST_NOTICE("notify_ota.newswavailflag: %d g_mobileTriggerExpire:%d ",
                           notify->newswavailflag, g_mobileTriggerExpire);
    if (notify->newswavailflag != kUserAsksNow || g_mobileTriggerExpire != 0) {
        return;
    }
    // Kept: g_dwldStartTimer stays raised, so further offers are refused until a timer clears it.
    ota::requestTimer(ota::kStop, TIMER_DOWNLOAD_START);
    OTA_DEBUG_FIRST_NOTICE(
        "Stopping downloadStartTimer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
        g_timerToSwmgnt, g_timerTypeToSwmgnt);
    otaSwAgentStartStopTimer();
    downloadAndUpgrade();
    g_mobileTriggerExpire = 0;
}
