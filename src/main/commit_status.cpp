// SPDX-License-Identifier: MIT
// After a reboot: does the version run that was activated before it?
#include <stdio.h>
#include <string.h>

#include "main/unit.h"
#include "support/handle.h"
#include "support/log.h"
#include "support/shell.h"
#include "support/text.h"

namespace {

constexpr char kCommitCheck[] = "otaSwAgentSWCommitStatus";

// Kept: one report for every piece of 31 characters or line of the marker, not one a check.
void reportPiece(char *piece, char (&runningVersion)[OTA_VERSION_WIDTH]) {
    piece[strcspn(piece, "\n")] = '\0';
    if (nal_getCurSwVersion(runningVersion) != 0) {
        OTA_PLATFORM_ERROR_OF(kCommitCheck, "nal_get_current_version failed\n");
    }
    ota::terminate(runningVersion);
    OTA_NOTICE_OF(kCommitCheck, "swVer = %s, curSwVer = %s\n", piece, runningVersion);
    if (ota::sameText(runningVersion, piece)) {
        OTA_NOTICE_OF(kCommitCheck, "SW Commit Success... Sending Response to swmgnt\n");
        sendUpgradeSignalToSwMgnt(OTA_STATUS_COMMIT_COMPLETE);
    } else {
        OTA_NOTICE_OF(kCommitCheck, "SW Commit Failed... Sending Response to swmgnt\n");
        sendUpgradeSignalToSwMgnt(OTA_STATUS_COMMIT_FAILED);
    }
}

void checkMarker() {
    ota::File marker{fopen(getOtaActSuccessPath(), "r")};
    if (!marker) {
        return;
    }
    // A failed query leaves what the one before it found.
    char runningVersion[OTA_VERSION_WIDTH]{};
    char piece[32]{};
    while (fgets(piece, sizeof piece, marker.get()) != nullptr) {
        reportPiece(piece, runningVersion);
    }
    marker.reset();
    ota::runShell<64>("rm -rf %s", getOtaActSuccessPath());
}

} // namespace

void otaSwAgentSWCommitStatus(void) {
    OTA_TRACE("Entering otaSwAgentSWCommitStatus\n");
    checkMarker();
    OTA_TRACE("Exiting otaSwAgentSWCommitStatus\n");
}
