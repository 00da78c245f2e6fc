// SPDX-License-Identifier: MIT
// The agent's process-wide state: every exported variable, in one place.
#include "otaSwAgent/globals.h"

// The runtime path table; empty until initOTAlib.
constinit char g_hieCertPath[OTA_PATH_WIDTH]{};
constinit char g_otaAgentData[OTA_PATH_WIDTH]{};
constinit char g_cfgmgrSock[OTA_PATH_WIDTH]{};
constinit char g_imagePrefix[OTA_PATH_WIDTH]{};
constinit char g_tmpImage[OTA_PATH_WIDTH]{};
constinit char g_swDwnld[OTA_PATH_WIDTH]{};
constinit char g_otaDwnldProg[OTA_PATH_WIDTH]{};
constinit char g_otamd5txt[OTA_PATH_WIDTH]{};
constinit char g_upgrdStatus[OTA_PATH_WIDTH]{};
constinit char g_upgrdRbtInfo[OTA_PATH_WIDTH]{};
constinit char g_lastRbtInfo[OTA_PATH_WIDTH]{};
constinit char g_otaActSuccess[OTA_PATH_WIDTH]{};
constinit char g_otaSwLog[OTA_PATH_WIDTH]{};

constinit char g_rebootTime[OTA_TIME_TEXT_WIDTH]{};

// The pending timer request.
constinit int32_t g_timerToSwmgnt{};
constinit char g_timerTypeToSwmgnt[OTA_TIMER_NAME_WIDTH]{};

constinit uint8_t g_dwldStartTimer{};
constinit uint8_t g_dwldRetryTimer{};
constinit uint8_t g_mobileTriggerExpire{};
constinit uint8_t g_mAppRebootTrig{};
constinit uint8_t g_ISDeferedUpgrade{};
// The only non-zero start: no onboarding window is running.
constinit int32_t g_firstTimeObardingWindowGivenPSNWBuildSame{1};
constinit int32_t reboot_flag{};

// Kept: never cleared, so a request that does not parse acts on the one before it.
constinit OtaMatrixItem swInfo{};
constinit UpgradeStatus swUpgStat{};
constinit ActivationTime swActTime{};
constinit OtaLibConfig otaLibConfig{};

constinit char md5CRC[OTA_CHECKSUM_WIDTH]{};
constinit char start_dw_Time[OTA_TIME_STAMP_WIDTH]{};
constinit char stop_dw_Time[OTA_TIME_STAMP_WIDTH]{};

constinit HttpInfo g_httpInfo{};
