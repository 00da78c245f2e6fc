// SPDX-License-Identifier: MIT
// The memory layout of every record, the same on every machine: a build that differs stops here.
#include "otaSwAgent/globals.h"
#include "otaSwAgent/records.h"
#include "platform/nal.h"

#include <stddef.h>

// Natural C alignment, fields in the order of their tables, no gaps but those shown.
#define OTA_AT(Record, field, at, width)                                                           \
    static_assert(offsetof(Record, field) == (at) && sizeof(Record::field) == (width),             \
                  #Record "." #field " has moved or changed its width")
#define OTA_SIZE(Record, size) static_assert(sizeof(Record) == (size), #Record " changed its size")
#define OTA_ALIGNED(Record, bytes)                                                                 \
    static_assert(alignof(Record) == (bytes), #Record " changed its alignment")

OTA_AT(SwmgntCfg, url, 0, 8192);
OTA_AT(SwmgntCfg, key, 8192, 1024);
OTA_AT(SwmgntCfg, activationTime, 9216, 32);
OTA_AT(SwmgntCfg, pollingTime, 9248, 32);
OTA_SIZE(SwmgntCfg, 9280);
OTA_ALIGNED(SwmgntCfg, 1);

OTA_AT(MatrixItem, model, 0, 32);
OTA_AT(MatrixItem, nxtMSVersion, 32, 64);
OTA_AT(MatrixItem, fileServerURL, 96, 8192);
OTA_AT(MatrixItem, checksum, 8288, 48);
OTA_AT(MatrixItem, policy, 8336, 4);
OTA_SIZE(MatrixItem, 8340);
OTA_ALIGNED(MatrixItem, 4);

OTA_AT(OtaMatrixItem, model, 0, 32);
OTA_AT(OtaMatrixItem, nxtMSVersion, 32, 64);
OTA_AT(OtaMatrixItem, fileServerURL, 96, 8192);
OTA_AT(OtaMatrixItem, checksum, 8288, 48);
OTA_AT(OtaMatrixItem, mac, 8336, 18);
OTA_AT(OtaMatrixItem, policy, 8356, 4); // after 2 bytes
OTA_SIZE(OtaMatrixItem, 8360);
OTA_ALIGNED(OtaMatrixItem, 4);

OTA_AT(PostPload, responseCode, 0, 4);
OTA_AT(PostPload, responseMsg, 4, 100);
OTA_AT(PostPload, versions, 104, 16 * 8340);
OTA_SIZE(PostPload, 104 + 16 * 8340);
OTA_ALIGNED(PostPload, 4);

OTA_AT(UpgradeStatus, model, 0, 32);
OTA_AT(UpgradeStatus, curswversion, 32, 64);
OTA_AT(UpgradeStatus, prevswversion, 96, 64);
OTA_AT(UpgradeStatus, mac, 160, 18);
OTA_AT(UpgradeStatus, sn, 178, 32);
OTA_AT(UpgradeStatus, status, 210, 50);
OTA_SIZE(UpgradeStatus, 260);
OTA_ALIGNED(UpgradeStatus, 1);

OTA_AT(ZorvanInfo, mac, 0, 18);
OTA_AT(ZorvanInfo, vender, 18, 32);
OTA_AT(ZorvanInfo, model, 50, 32);
OTA_AT(ZorvanInfo, sn, 82, 32);
OTA_AT(ZorvanInfo, swversion, 114, 64);
OTA_AT(ZorvanInfo, hwversion, 178, 32);
OTA_AT(ZorvanInfo, wifi_2g_mac, 210, 18);
OTA_AT(ZorvanInfo, wifi_5g_mac, 228, 18);
OTA_AT(ZorvanInfo, eth_wan_mac, 246, 18);
OTA_AT(ZorvanInfo, wds_2g_mac, 264, 18);
OTA_AT(ZorvanInfo, wds_5g_mac, 282, 18);
OTA_AT(ZorvanInfo, first_up, 300, 4);
OTA_SIZE(ZorvanInfo, 304);
OTA_ALIGNED(ZorvanInfo, 4);

OTA_AT(ActivationTime, model, 0, 32);
OTA_AT(ActivationTime, mac, 32, 18);
OTA_AT(ActivationTime, sn, 50, 32);
OTA_AT(ActivationTime, actTime, 82, 32);
OTA_SIZE(ActivationTime, 114);
OTA_ALIGNED(ActivationTime, 1);

OTA_AT(SwmgntBroadcastInfo, type, 0, 50);
OTA_AT(SwmgntBroadcastInfo, sequence, 52, 4); // after 2 bytes
OTA_AT(SwmgntBroadcastInfo, mac, 56, 100);
OTA_AT(SwmgntBroadcastInfo, version, 156, 50);
OTA_AT(SwmgntBroadcastInfo, signalname, 206, 100);
OTA_AT(SwmgntBroadcastInfo, signaldata, 306, 4196);
OTA_SIZE(SwmgntBroadcastInfo, 4504); // 2 bytes at the end
OTA_ALIGNED(SwmgntBroadcastInfo, 4);

OTA_AT(SwmgntSyncMsg, dataLen, 0, 4);
OTA_SIZE(SwmgntSyncMsg, 4);
static_assert(OTA_SYNC_MSG_CONFIG_OFFSET == 4, "the text of a SwmgntSyncMsg has moved");

OTA_AT(OtaLibConfig, OffloadDownloadActivate, 0, 1);
OTA_AT(OtaLibConfig, initial_obardingStatus, 4, 4); // after 3 bytes
OTA_AT(OtaLibConfig, firsttime_polling, 8, 4);
OTA_SIZE(OtaLibConfig, 12);
OTA_ALIGNED(OtaLibConfig, 4);

OTA_AT(MobileAppNotify, newswavailflag, 0, 4);

OTA_AT(HttpInfo, timeout, 0, 4);
OTA_AT(HttpInfo, authEnabled, 4, 4);
OTA_AT(HttpInfo, userName, 8, 256);
OTA_AT(HttpInfo, password, 264, 256);
OTA_AT(HttpInfo, mss, 520, 4);
OTA_AT(HttpInfo, url, 524, 8192);
OTA_AT(HttpInfo, downloadPath, 8716, 256);
OTA_AT(HttpInfo, reservedValue, 8972, 4);
OTA_AT(HttpInfo, reservedArea, 8976, 512);
OTA_AT(HttpInfo, certPath, 9488, 256);
OTA_AT(HttpInfo, reservedText, 9744, 836);
OTA_SIZE(HttpInfo, 10580);
OTA_ALIGNED(HttpInfo, 4);

// The exported variables, as wide as their hosts take them to be.
#define OTA_WIDE(name, width) static_assert(sizeof(name) == (width), #name " changed its width")

OTA_WIDE(g_hieCertPath, 32);
OTA_WIDE(g_otaAgentData, 32);
OTA_WIDE(g_cfgmgrSock, 32);
OTA_WIDE(g_imagePrefix, 32);
OTA_WIDE(g_tmpImage, 32);
OTA_WIDE(g_swDwnld, 32);
OTA_WIDE(g_otaDwnldProg, 32);
OTA_WIDE(g_otamd5txt, 32);
OTA_WIDE(g_upgrdStatus, 32);
OTA_WIDE(g_upgrdRbtInfo, 32);
OTA_WIDE(g_lastRbtInfo, 32);
OTA_WIDE(g_otaActSuccess, 32);
OTA_WIDE(g_otaSwLog, 32);
OTA_WIDE(g_rebootTime, 32);
OTA_WIDE(g_timerToSwmgnt, 4);
OTA_WIDE(g_timerTypeToSwmgnt, 32);
OTA_WIDE(g_dwldStartTimer, 1);
OTA_WIDE(g_dwldRetryTimer, 1);
OTA_WIDE(g_mobileTriggerExpire, 1);
OTA_WIDE(g_mAppRebootTrig, 1);
OTA_WIDE(g_ISDeferedUpgrade, 1);
OTA_WIDE(g_firstTimeObardingWindowGivenPSNWBuildSame, 4);
OTA_WIDE(reboot_flag, 4);
OTA_WIDE(md5CRC, 48);
OTA_WIDE(start_dw_Time, 64);
OTA_WIDE(stop_dw_Time, 64);

static_assert(NAL_NODE_INFO_SIZE == 552 && NAL_NODE_INFO_SERIAL_OFFSET == 83 &&
                  NAL_NODE_INFO_MODEL_OFFSET == 148,
              "the node-information record changed");
static_assert(NAL_UPGRADE_INFO_SIZE == 2213 && NAL_UPGRADE_INFO_TIME_OFFSET == 2051,
              "the auto-upgrade settings record changed");
