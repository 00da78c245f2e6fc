// SPDX-License-Identifier: MIT
// Activating an image that already waits in the passive bank, by policy.
#include "main/timer_control.h"
#include "support/log.h"
#include "support/policy.h"
#include "upgrade/reboot.h"
#include "upgrade/unit.h"

namespace {

constexpr char kSchedule[] = "startRebootTimer";

void activateOnSchedule() {
    OTA_NOTICE_2_OF(kSchedule, "swActTime.actTime = %s, g_rebootTime = %s",
                    " swActTime.actTime = %s, g_rebootTime = %s", swActTime.actTime, g_rebootTime);
    const int32_t delay = getTimeInSeonds(swActTime.actTime);
    if (reboot_flag == 0) { // a reboot already scheduled is left alone
        ota::requestTimer(delay, TIMER_REBOOT);
        OTA_NOTICE_OF(kSchedule,
                      "Starting Reboot Timer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
                      g_timerToSwmgnt, g_timerTypeToSwmgnt);
        otaSwAgentStartStopTimer();
    }
    reboot_flag = 1;
}

void activateAtOnce() {
    OTA_NOTICE_OF(kSchedule, "Upgrade policy is 1,go for immediate reboot");
    if (nal_activatePassiveImage() != 0) {
        OTA_NOTICE_OF(kSchedule, "Image Activation Success... Going for Reboot!!!");
        ota::markReportAndReboot();
    } else {
        OTA_NOTICE_OF(kSchedule,
                      "Image Activation Failed... Sending Failure Response to swmgnt!!!");
        ota::reportFailedActivation();
    }
}

} // namespace

void startRebootTimer(void) {
    if (swInfo.policy == ota::kActivateOnSchedule) {
        activateOnSchedule();
    } else if (swInfo.policy == ota::kActivateAtOnce) {
        activateAtOnce();
    }
}
