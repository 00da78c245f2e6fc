// SPDX-License-Identifier: MIT
// What the last attempt left behind.
#include "swmgmtitf/download/clean_up.h"

#include "support/log.h"
#include "support/shell.h"
#include "support/text.h"
#include "swmgmtitf/download/download.h"
#include "swmgmtitf/unit.h"

namespace ota::download {

namespace {

// Kept: no report ever stores this word, so every download cleans up.
constexpr char kActivationSuccess[] = "OTASwActivationSuccess";

} // namespace

void removeLeftovers() {
    if (sameText(swUpgStat.status, kActivationSuccess)) {
        return;
    }
    OTA_NOTICE_OF(kDownload, "Removing the image files for last time failure");
    // Kept: 18 characters of each command are run, whatever a cut path then names.
    runShell<19>("rm -rf %s", getImagePrefixPath());
    runShell<19>("rm -rf %s", getTmpImgPath());
    runShell<19>("rm -rf %s/*", getSoftwareDownloadPath());
}

} // namespace ota::download
