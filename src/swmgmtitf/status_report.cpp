// SPDX-License-Identifier: MIT
// One report: the status word, the refreshed identity, the published record.
#include "support/log.h"
#include "support/text.h"
#include "swmgmtitf/unit.h"

using ota::copyText;
using ota::terminate;

int sendUpgradeSignalToSwMgnt(const char *statusWord) {
    OTA_NOTICE("upgradeSignal = %s", statusWord);
    copyText(swUpgStat.status, statusWord);
    terminate(swUpgStat.status);
    OTA_NOTICE("swUpgStat.status = %s", swUpgStat.status);

    initUpgradeStatusInfo();
    if (ota::sameText(swUpgStat.status, OTA_STATUS_ACTIVATION_COMPLETE)) {
        // The reboot is about to make this true: the new image as current, the current as previous.
        copyText(swUpgStat.prevswversion, swUpgStat.curswversion);
        copyText(swUpgStat.curswversion, swInfo.nxtMSVersion);
        OTA_NOTICE("swUpgStat.curswversion = %s, swUpgStat.prevswversion = %s",
                   swUpgStat.curswversion, swUpgStat.prevswversion);
    }
    return otaSwAgent_sendUpgradeSignal();
}
