// SPDX-License-Identifier: MIT
// The downloaded image: found, checked, written to the passive bank, then handed to its policy.
#include "upgrade/install.h"

#include <stdio.h>

#include "support/log.h"
#include "support/text.h"
#include "upgrade/checksum.h"
#include "upgrade/image_file.h"
#include "upgrade/policy.h"
#include "upgrade/unit.h"

namespace ota::install {

namespace {

// Logged, not passed: the write call takes the path alone.
constexpr int kImageSlot = 1;   // NAL_MAPPING_SWIMG_ID_0
constexpr int kFromWebFlag = 3; // NAL_SWDL_FLAG_FROM_WEB

bool writePassiveImage(const char *path) {
    OTA_NOTICE_OF(kUpgrade,
                  "NAL_MAPPING_SWIMG_ID_0 %d filename %s strlen %d NAL_SWDL_FLAG_FROM_WEB %d",
                  kImageSlot, path, lengthOf(path), kFromWebFlag);
    const int result = nal_writePassiveImage(path);
    fflush(nullptr);
    if (result != 0) {
        OTA_ERROR_OF(kUpgrade, ">>>>11nal_write_image faild! ret=%d\r\n", result);
        sendUpgradeSignalToSwMgnt(OTA_STATUS_FLASH_WRITE_FAILED);
        return false;
    }
    OTA_NOTICE_OF(kUpgrade, "OTAFlashWriteComplete");
    return true;
}

} // namespace

} // namespace ota::install

void upgrade(void) {
    using namespace ota::install;
    const char *directory = nal_getTmpDirectory();
    char startTime[OTA_TIME_STAMP_WIDTH]{};
    getCurrentTime(startTime);
    OTA_NOTICE("Sw Download Start Time = %s", startTime);
    ota::copyText(start_dw_Time, startTime);

    ImageFile image;
    selectImage(image, directory);
    if (verifyChecksum(image.path) && writePassiveImage(image.path)) {
        ota::copyText(stop_dw_Time, startTime); // Kept: the clock is not read again
        applyPolicy();
    }
    // Kept: after every failure and every policy, also after the reboot was started.
    nal_fallBackToActiveImage();
    fflush(nullptr);
}
