// SPDX-License-Identifier: MIT
// A new image is offered: from the signal to a refusal, a window, or a download.
#include <stdint.h>
#include <sys/file.h>

#include "main/timer_control.h"
#include "support/device_context.h"
#include "support/handle.h"
#include "support/log.h"
#include "support/policy.h"
#include "support/shell.h"
#include "swmgmtitf/device_mac.h"
#include "swmgmtitf/onboarding.h"
#include "swmgmtitf/unit.h"
#include "upgrade/reboot.h"

namespace {

constexpr char kNewImage[] = "otaSwmgnt_process_newimage_info";
constexpr unsigned kPauseBeforeArrivalReboot = 20; // seconds

bool isMeantForThisNode() {
    const ota::DeviceMac device;
    OTA_NOTICE_OF(kNewImage, "DeviceMAC--payload MAC is:%s--%s", device.text, swInfo.mac);
    if (!device.is(swInfo.mac)) {
        OTA_ERROR_OF(kNewImage,
                     "Device MAC and payload MAC not matching:wrong device, not allow upgrade");
        return false;
    }
    return true;
}

// Kept: whatever comes of it, the request goes on; the reboot command only begins the shutdown.
void activateOnArrival() {
    if (swInfo.policy != ota::kActivateOnArrival || nal_activatePassiveImage() == 0) {
        return;
    }
    OTA_NOTICE_OF(kNewImage,
                  "Upgrade Policy Received from SWMGNT is 3... Going for immediate Reboot!");
    sendUpgradeSignalToSwMgnt(OTA_STATUS_ACTIVATION_REBOOT_COMPLETE);
    ota::pauseAndReboot(kPauseBeforeArrivalReboot);
}

void dropPendingRetry() {
    if (g_dwldRetryTimer == 0) {
        return;
    }
    g_dwldRetryTimer = 0;
    ota::requestTimer(ota::kStop, TIMER_DOWNLOAD_RETRY);
    OTA_NOTICE_OF(kNewImage,
                  "Stopping downloadRetryTimer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
                  g_timerToSwmgnt, g_timerTypeToSwmgnt);
    otaSwAgentStartStopTimer();
}

// Kept: the lock is asked for on the stream handle itself, which is no descriptor, so it is never
// taken; nothing depends on it.
void lockStream(FILE *stream, int operation) {
    flock(static_cast<int>(reinterpret_cast<intptr_t>(stream)), operation);
}

// Tells the mobile app's side that a version waits, and gives the user half an hour.
void openDownloadWindow() {
    char current[OTA_VERSION_WIDTH]{};
    if (nal_getCurSwVersion(current) != 0) {
        OTA_ERROR_OF(kNewImage, "nal_get_current_version failed");
    }
    ota::terminate(current);
    ota::runShell<31>("rm -f %s", getOtaAgentDataPath());
    const ota::File agentData{fopen(getOtaAgentDataPath(), "w")};
    if (!agentData) {
        OTA_ERROR_OF(kNewImage, "Failed to open file");
        return;
    }
    lockStream(agentData.get(), LOCK_SH);
    fprintf(agentData.get(), "1\n%s\n%s", current, swInfo.nxtMSVersion);
    lockStream(agentData.get(), LOCK_UN);

    g_dwldStartTimer = 1;
    ota::requestTimer(ota::kOnboardingWindow, TIMER_DOWNLOAD_START);
    OTA_NOTICE_OF(kNewImage,
                  "Starting downloadStartTimer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
                  g_timerToSwmgnt, g_timerTypeToSwmgnt);
    otaSwAgentStartStopTimer();
}

void downloadNowOrLater() {
    OTA_NOTICE_OF(kNewImage, "About to call  ota_getWifiServiceObj ");
    ota::DeviceContext node;
    if (node.query() == -1) {
        OTA_NOTICE_OF(kNewImage, "ota_getWifiServiceObj ret -1");
        return;
    }
    OTA_NOTICE_OF(
        kNewImage,
        "WorkMode = %s workRole = %s, initial_obardingStatus =%d g_firsttime_polling = %d",
        node.workMode, node.workRole, otaLibConfig.initial_obardingStatus,
        otaLibConfig.firsttime_polling);
    if (ota::isFirstOnboardingPoll(node)) {
        openDownloadWindow();
    } else {
        downloadAndUpgrade();
    }
}

} // namespace

void otaSwmgnt_process_newimage_info(const char *jsonText, void * /*reserved*/,
                                     const OtaLibConfig *config) {
    OTA_TRACE("Inside otaSwmgnt_process_newimage_info to process the new image info");
    ota_recv_newimagenfo(jsonText);
    ota_recv_config(config);
    if (!isMeantForThisNode()) {
        return;
    }
    activateOnArrival();
    dropPendingRetry();
    if (g_dwldStartTimer != 0) {
        OTA_NOTICE("already 30 mins timer is running , cancelling this request");
        return;
    }
    if (isReceivedValidImage() == 0) {
        OTA_NOTICE("isReceivedValidImage return false return");
        return;
    }
    downloadNowOrLater();
}
