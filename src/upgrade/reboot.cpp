// SPDX-License-Identifier: MIT
// The last steps of an activation, shared by all roads that end in a reboot.
#include "upgrade/reboot.h"

#include <stdlib.h>
#include <unistd.h>

#include "otaSwAgent/agent.h"
#include "support/shell.h"

namespace ota {

namespace {

constexpr unsigned kPauseBeforeReboot = 10; // seconds, for the report to get out

} // namespace

void pauseAndReboot(unsigned seconds) {
    sleep(seconds);
    static_cast<void>(system("/sbin/reboot"));
}

void markReportAndReboot() {
    runShell<64>("echo %s > %s", swInfo.nxtMSVersion, getOtaActSuccessPath());
    sendUpgradeSignalToSwMgnt(OTA_STATUS_ACTIVATION_COMPLETE);
    pauseAndReboot(kPauseBeforeReboot);
}

void reportFailedActivation() {
    sendUpgradeSignalToSwMgnt(OTA_STATUS_ACTIVATION_FAILED);
    reboot_flag = 0;
}

} // namespace ota
