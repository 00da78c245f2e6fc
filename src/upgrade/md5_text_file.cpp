// SPDX-License-Identifier: MIT
// The expected MD5 sum, as a host may leave it in a text file.
#include <stdio.h>
#include <stdlib.h>

#include "support/handle.h"
#include "support/log.h"
#include "support/text.h"
#include "upgrade/unit.h"

int ota_read_MD5CRC(void) {
    ota::setText(md5CRC, "");
    ota::File file{fopen(getOtaMD5TxtPath(), "r")};
    if (!file) {
        OTA_ERROR("ota_read_MD5CRC:File open failed!");
        return 0;
    }
    if (fgets(md5CRC, sizeof md5CRC, file.get()) != nullptr) {
        ota::terminate(md5CRC);
        OTA_NOTICE("MD5 CRC extracted is = %s", md5CRC);
    }
    file.reset();
    return system("rm /tmp/otaMD5.txt"); // Kept: a fixed path, not the table's
}
