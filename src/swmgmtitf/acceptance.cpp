// SPDX-License-Identifier: MIT
// Is the offered image to be downloaded? And the swap, where the passive bank already holds it.
#include <unistd.h>

#include "main/timer_control.h"
#include "support/device_context.h"
#include "support/log.h"
#include "swmgmtitf/device_mac.h"
#include "swmgmtitf/onboarding.h"
#include "swmgmtitf/unit.h"

namespace {

constexpr char kAcceptance[] = "isReceivedValidImage";
constexpr int kDownload = 1;
constexpr int kNoDownload = 0;
constexpr unsigned kPauseAfterSwapReport = 5; // seconds

// Kept: the flag raised is the download window's, the timer started is the reboot timer.
void openWindowBeforeSwap() {
    g_dwldStartTimer = 1;
    ota::requestTimer(ota::kOnboardingWindow, TIMER_REBOOT);
    OTA_NOTICE_OF(kAcceptance,
                  "Starting Reboot Timer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
                  g_timerToSwmgnt, g_timerTypeToSwmgnt);
    otaSwAgentStartStopTimer();
    g_firstTimeObardingWindowGivenPSNWBuildSame = 0;
}

void swapToPassive() {
    if (g_dwldStartTimer != 0) {
        OTA_NOTICE_OF(kAcceptance, "already 30 mins timer is running , canceling thie request");
        return;
    }
    sendUpgradeSignalToSwMgnt(OTA_STATUS_SWAP_PASSIVE);
    sleep(kPauseAfterSwapReport);
    ota::DeviceContext node;
    if (node.query() != 0) {
        return;
    }
    OTA_NOTICE_2_OF(
        kAcceptance,
        "WorkMode = %s, workRole = %s, initial_obardingStatus = %d g_firsttime_polling = %d",
        "WorkMode = %s, workRole = %s, g_initialObardingStatus = %d g_firsttime_polling = %d",
        node.workMode, node.workRole, otaLibConfig.initial_obardingStatus,
        otaLibConfig.firsttime_polling);
    if (ota::isFirstOnboardingPoll(node)) {
        openWindowBeforeSwap();
    } else {
        startRebootTimer();
    }
}

int decideByVersions(const char *current, const char *previous, const char *target) {
    OTA_NOTICE_OF(kAcceptance, "CurrentSwVer = %s, PrevSwVer = %s, NextSwVer = %s", current,
                  previous, target);
    if (ota::sameText(current, target)) {
        OTA_NOTICE_OF(kAcceptance,
                      "Current and Target Software version is same, so no upgrade needed");
        sendUpgradeSignalToSwMgnt(OTA_STATUS_NO_UPGRADE);
        return kNoDownload;
    }
    if (!ota::sameText(previous, target)) {
        OTA_NOTICE_OF(kAcceptance, "Current and Previous Version is different than Target Software "
                                   "version, go for Download and Upgrade");
        return kDownload;
    }
    OTA_NOTICE_OF(kAcceptance, "Previous and Target Software version is same, so no download,only "
                               "activate passive image");
    swapToPassive();
    return kNoDownload;
}

} // namespace

int isReceivedValidImage(void) {
    const ota::DeviceMac device;
    if (!device.is(swInfo.mac)) {
        OTA_ERROR("Device MAC and payload MAC not matching:wrong device, not allow upgrade");
        return kNoDownload;
    }
    OTA_NOTICE("Device MAC and payload MAC matching, allow upgrade");

    char current[OTA_VERSION_WIDTH]{};
    if (nal_getCurSwVersion(current) != 0) {
        OTA_ERROR("nal_get_current_version failed");
    }
    ota::terminate(current);
    char previous[OTA_VERSION_WIDTH]{};
    // Any other failure is not looked at: the comparison takes whatever the text holds.
    if (nal_getPrevSwVersion(previous) == NAL_NO_PREVIOUS_IMAGE) {
        OTA_NOTICE_2("nal_getPrevSwVersion NS we return true",
                     "nal_getPrevSwVersion is NS we return true");
        return kDownload;
    }
    ota::terminate(previous);
    return decideByVersions(current, previous, swInfo.nxtMSVersion);
}
