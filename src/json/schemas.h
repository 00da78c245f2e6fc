// SPDX-License-Identifier: MIT
// The fields of every record, in wire order.
#pragma once

#include "otaSwAgent/records.h"
#include "support/fields.h"

namespace ota::json {

inline constexpr Field kSwmgntCfg[] = {
    OTA_FIELD(SwmgntCfg, url),
    OTA_FIELD(SwmgntCfg, key),
    OTA_FIELD(SwmgntCfg, activationTime),
    OTA_FIELD(SwmgntCfg, pollingTime),
};

// Kept: "pollingTime" is read but never written.
inline constexpr Fields kSwmgntCfgWritten = Fields(kSwmgntCfg).first<3>();

inline constexpr Field kMatrixItem[] = {
    OTA_FIELD(MatrixItem, model),         OTA_FIELD(MatrixItem, nxtMSVersion),
    OTA_FIELD(MatrixItem, fileServerURL), OTA_FIELD(MatrixItem, checksum),
    OTA_FIELD(MatrixItem, policy),
};

inline constexpr Field kOtaMatrixItem[] = {
    OTA_FIELD(OtaMatrixItem, model),         OTA_FIELD(OtaMatrixItem, nxtMSVersion),
    OTA_FIELD(OtaMatrixItem, fileServerURL), OTA_FIELD(OtaMatrixItem, checksum),
    OTA_FIELD(OtaMatrixItem, mac),           OTA_FIELD(OtaMatrixItem, policy),
};

// Its "versions" array is a road of its own.
inline constexpr Field kPostPload[] = {
    OTA_FIELD(PostPload, responseCode),
    OTA_FIELD(PostPload, responseMsg),
};

inline constexpr Field kUpgradeStatus[] = {
    OTA_FIELD(UpgradeStatus, model),
    OTA_FIELD(UpgradeStatus, curswversion),
    OTA_FIELD(UpgradeStatus, prevswversion),
    OTA_FIELD(UpgradeStatus, mac),
    OTA_FIELD(UpgradeStatus, sn),
    OTA_FIELD(UpgradeStatus, status),
};

inline constexpr Field kZorvanInfo[] = {
    OTA_FIELD(ZorvanInfo, mac),         OTA_FIELD(ZorvanInfo, vender),
    OTA_FIELD(ZorvanInfo, model),       OTA_FIELD(ZorvanInfo, sn),
    OTA_FIELD(ZorvanInfo, swversion),   OTA_FIELD(ZorvanInfo, hwversion),
    OTA_FIELD(ZorvanInfo, wifi_2g_mac), OTA_FIELD(ZorvanInfo, wifi_5g_mac),
    OTA_FIELD(ZorvanInfo, eth_wan_mac), OTA_FIELD(ZorvanInfo, wds_2g_mac),
    OTA_FIELD(ZorvanInfo, wds_5g_mac),  OTA_FIELD(ZorvanInfo, first_up),
};

inline constexpr Field kActivationTime[] = {
    OTA_FIELD(ActivationTime, model),
    OTA_FIELD(ActivationTime, mac),
    OTA_FIELD(ActivationTime, sn),
    OTA_FIELD(ActivationTime, actTime),
};

} // namespace ota::json
