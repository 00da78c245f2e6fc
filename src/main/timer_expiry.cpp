// SPDX-License-Identifier: MIT
// What happens when one of the three named timers runs out.
#include "main/unit.h"
#include "support/device_context.h"
#include "support/log.h"
#include "support/shell.h"
#include "upgrade/reboot.h"

namespace {

using ota::DeviceContext;
using ota::kExtenderMode;
using ota::kGatewayMode;

constexpr char kRebootExpiry[] = "otaSwAgentProcessRebootTimer";
constexpr char kDownloadStartExpiry[] = "otaSwAgentProcessDownloadStartTimer";

void activateAndReboot() {
    OTA_NOTICE_OF(kRebootExpiry,
                  " current onboardStatus is false so we can go ahead and activate_image\n");
    if (nal_activatePassiveImage() != 0) {
        OTA_NOTICE_OF(kRebootExpiry, "Image Activation Success... Going for Reboot!!!\n");
        ota::markReportAndReboot();
    } else {
        OTA_NOTICE_OF(kRebootExpiry,
                      "Image Activation Failed... Sending Failure Response to swmgnt!!!\n");
        ota::reportFailedActivation();
    }
}

void activateUnlessOnboarding() {
    DeviceContext node;
    if (node.query() != 0) {
        return;
    }
    OTA_NOTICE_OF(kRebootExpiry,
                  "g_firstTimeObardingWindowGivenPSNWBuildSame = %d onboardStatus = %d\n",
                  g_firstTimeObardingWindowGivenPSNWBuildSame, node.onboardStatus);
    if (g_firstTimeObardingWindowGivenPSNWBuildSame == 0 && node.onboardStatus == 1) {
        OTA_NOTICE_OF(kRebootExpiry, " onboardStatus is TRUE we defer activate_image till next "
                                     "reboot or polling cyclye or trigger");
        g_ISDeferedUpgrade = 1;
        OTA_NOTICE_OF(kRebootExpiry, " Marked g_ISDeferedUpgrade as true");
        return;
    }
    if (node.countsAs(kExtenderMode) || node.countsAs(kGatewayMode)) {
        activateAndReboot();
    }
}

// Kept: an extender defers even when it is not onboarding, and the words blame onboarding alone.
void downloadUnlessOnboarding() {
    DeviceContext node;
    if (node.query() != 0) {
        return;
    }
    if (node.countsAs(kGatewayMode) && node.onboardStatus == 0) {
        OTA_NOTICE_OF(kDownloadStartExpiry, " current onboardStatus is false so we can go ahead "
                                            "and downloadAndUpgrade\n");
        downloadAndUpgrade();
        return;
    }
    OTA_NOTICE_OF(kDownloadStartExpiry, " onboardStatus is TRUE we defer downloadAndUpgrade till "
                                        "next reboot or polling cyclye or trigger");
    g_ISDeferedUpgrade = 1;
    OTA_NOTICE_OF(kDownloadStartExpiry, " Marked g_ISDeferedUpgrade as true");
}

} // namespace

void otaSwAgentProcessRebootTimer(void) {
    OTA_TRACE("Entering otaSwAgentProcessRebootTimer\n");
    g_dwldStartTimer = 0;
    activateUnlessOnboarding();
    g_firstTimeObardingWindowGivenPSNWBuildSame = 1;
    OTA_TRACE("Exiting otaSwAgentProcessRebootTimer\n");
}

void otaSwAgentProcessDownloadStartTimer(void) {
    OTA_TRACE("Entering otaSwAgentProcessDownloadStartTimer\n");
    OTA_NOTICE("No MobileApp trigger received for Download and Upgrade\n");
    ota::runShell<32>("rm -f %s", getOtaAgentDataPath());
    g_mobileTriggerExpire = 1;
    g_dwldStartTimer = 0;
    downloadUnlessOnboarding();
    OTA_TRACE("Exiting otaSwAgentProcessDownloadStartTimer\n");
}

void otaSwAgentProcessDownloadRetryTimer(void) {
    OTA_TRACE("Entering otaSwAgentProcessDownloadRetryTimer\n");
    OTA_NOTICE("downloadRetryTimer is expired... Calling downloadAndUpgrade()\n");
    g_dwldRetryTimer = 0;
    downloadAndUpgrade();
    OTA_TRACE("Exiting otaSwAgentProcessDownloadRetryTimer\n");
}

int ota_ISUpgradeDefered(void) {
    OTA_NOTICE_2("g_ISDeferedUpgrade value is %d\n", "Marked g_ISDeferedUpgrade values is %d",
                 g_ISDeferedUpgrade);
    return g_ISDeferedUpgrade;
}
