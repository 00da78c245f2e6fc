// SPDX-License-Identifier: MIT
// What follows a written image: a scheduled reboot, an immediate one, or nothing.
#include "upgrade/policy.h"

#include <unistd.h>

#include "main/timer_control.h"
#include "support/device_context.h"
#include "support/log.h"
#include "support/policy.h"
#include "support/shell.h"
#include "upgrade/install.h"
#include "upgrade/reboot.h"
#include "upgrade/unit.h"

namespace ota::install {

namespace {

constexpr unsigned kPauseAfterWriteOnly = 10; // seconds

// A gateway that was told no other time asks for the preferred one again.
void refreshRebootTime() {
    DeviceContext node;
    if (node.query() != 0) {
        return;
    }
    OTA_NOTICE_OF(kUpgrade, "workMode = %s, workRole = %s, onboardStatus = %d", node.workMode,
                  node.workRole, node.onboardStatus);
    if (node.countsAs(kGatewayMode) && g_mAppRebootTrig == 0) {
        ota_getOtaPrefActTime(g_rebootTime);
        OTA_NOTICE_OF(kUpgrade,
                      "No MobApp Reboot Trigger for SwActTime... Getting SwActTime from cfgmgr, "
                      "g_rebootTime = %s",
                      g_rebootTime);
    }
}

void scheduleReboot() {
    refreshRebootTime();
    OTA_NOTICE_OF(kUpgrade, "g_rebootTime = %s", g_rebootTime);
    const int32_t delay = getTimeInSeonds(g_rebootTime);
    OTA_NOTICE_OF(kUpgrade, "rebootTime is = %d", delay);
    if (reboot_flag == 0) { // a timer started earlier stands
        requestTimer(delay, TIMER_REBOOT);
        OTA_NOTICE_OF(kUpgrade,
                      "Starting Reboot Timer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
                      g_timerToSwmgnt, g_timerTypeToSwmgnt);
        otaSwAgentStartStopTimer();
    }
    // Kept: 18 characters of the command are run.
    runShell<19>("rm -rf %s", getOtaMD5TxtPath());
    reboot_flag = 1;
}

// Kept: a failed activation is neither logged nor reported here.
void activateNow() {
    if (nal_activatePassiveImage() == 0) {
        return;
    }
    OTA_NOTICE_OF(kUpgrade,
                  "Upgrade Policy Received from SWMGNT is 1... Going for immediate Reboot!");
    markReportAndReboot();
}

// Kept: both lines are errors in the logs.
void leaveWritten() {
    OTA_ERROR_OF(kUpgrade, "this is special case of downloadTrigger from portal");
    OTA_ERROR_OF(kUpgrade, "just commit to passive partition and wait");
    sendUpgradeSignalToSwMgnt(OTA_STATUS_ACTIVATION_COMPLETE);
    sleep(kPauseAfterWriteOnly);
}

} // namespace

void applyPolicy() {
    OTA_NOTICE_OF(kUpgrade, "swInfo.policy = %ld", static_cast<long>(swInfo.policy));
    switch (swInfo.policy) {
    case kActivateOnSchedule:
        scheduleReboot();
        break;
    case kActivateAtOnce:
        activateNow();
        break;
    case kWriteOnly:
        leaveWritten();
        break;
    default:
        break;
    }
}

} // namespace ota::install
