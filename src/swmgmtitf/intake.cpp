// SPDX-License-Identifier: MIT
// Taking a new-image request in: its descriptor and its configuration.
#include "support/log.h"
#include "swmgmtitf/unit.h"

void ota_recv_config(const OtaLibConfig *config) {
    OTA_TRACE("Inside ota_recv_config");
    otaLibConfig.OffloadDownloadActivate = config->OffloadDownloadActivate;
    otaLibConfig.initial_obardingStatus = config->initial_obardingStatus;
    otaLibConfig.firsttime_polling = config->firsttime_polling;
    OTA_DEBUG_FIRST_NOTICE_2(
        " OffloadDownloadActivate %d initial_obardingStatus %d firsttime_polling %d",
        "OffloadDownloadActivate %d initial_obardingStatus %d firsttime_polling %d",
        otaLibConfig.OffloadDownloadActivate, otaLibConfig.initial_obardingStatus,
        otaLibConfig.firsttime_polling);
}

void ota_recv_newimagenfo(const char *jsonText) {
    OTA_TRACE("Inside ota_recv_newimagenfo");
    // Kept: a failure is only logged; the request goes on with what swInfo held before.
    if (parse_OtaMatrixItem_from_json(jsonText, &swInfo) != 0) {
        OTA_ERROR("parse_OtaMatrixItem_from_json fail");
    }
    OTA_NOTICE("ClusterUpgradeSignal Data:");
    OTA_NOTICE("ota_recv_newimagenfo:swInfo.model = %s", swInfo.model);
    OTA_NOTICE("ota_recv_newimagenfo:swInfo.nxtMSVersion = %s", swInfo.nxtMSVersion);
    OTA_NOTICE("ota_recv_newimagenfo:swInfo.fileServerURL = %s", swInfo.fileServerURL);
    OTA_NOTICE("ota_recv_newimagenfo:swInfo.checksum = %s", swInfo.checksum);
    OTA_NOTICE("ota_recv_newimagenfo:swInfo.mac = %s", swInfo.mac);
    OTA_TRACE("ota_recv_newimagenfo:swInfo.policy = %d", swInfo.policy);
    OTA_NOTICE("model %s nxtMSVersion %s checksum %s mac %s policy %d", swInfo.model,
               swInfo.nxtMSVersion, swInfo.checksum, swInfo.mac, swInfo.policy);
}
