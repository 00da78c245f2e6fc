// SPDX-License-Identifier: MIT
// An accepted image: handed over to the gateway, or downloaded and installed here.
#include "support/handle.h"
#include "support/log.h"
#include "swmgmtitf/unit.h"

namespace {

constexpr char kDriver[] = "downloadAndUpgrade";
constexpr int kHandOffWidth = 4096;

void offloadToGateway() {
    const ota::Json object{encode_SwmgntFileServerInfo(&swInfo, &swActTime)};
    // What does not fit is handed over as far as it was printed; one byte more ends the text.
    char text[kHandOffWidth + 1]{};
    cJSON_PrintPreallocated(object.get(), text, kHandOffWidth, true);
    OTA_NOTICE_OF(kDriver, "OffloadDownloadActivate set offload to RG");
    OTA_NOTICE_OF(kDriver, "json_fileServerinfo value [%s]", text);
    if (nal_setSwmgntFileServerInfo(text) != 0) {
        OTA_NOTICE_OF(kDriver, "Err happened in nal_setSwmgntFileServerInfo");
    }
    OTA_NOTICE_OF(kDriver, "Return now, offloading activation and commit to RG");
}

} // namespace

void downloadAndUpgrade(void) {
    if (otaLibConfig.OffloadDownloadActivate != 0) {
        offloadToGateway();
        return;
    }
    OTA_TRACE("Calling ota_httpDownLoadFile()...");
    const int downloadRet = ota_httpDownLoadFile(&g_httpInfo);
    OTA_NOTICE("downloadRet = %d", downloadRet);
    if (downloadRet == 0) {
        OTA_NOTICE("Download image success... Going for Upgrade...");
        upgrade();
    }
}
