/* SPDX-License-Identifier: MIT */
/* The agent's process-wide state, readable by its host. */
#ifndef OTASWAGENT_GLOBALS_H
#define OTASWAGENT_GLOBALS_H

#include <stdint.h>

#include "otaSwAgent/records.h"

/*
 * Plain variables without locks: a host reads them between calls, on the thread that
 * makes the calls. Zero at load unless said otherwise. Nothing is ever released.
 */

#if defined(__GNUC__)
#define OTA_EXPORT __attribute__((visibility("default")))
#else
#define OTA_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The runtime path table, filled by initOTAlib; read it through the getters of agent.h. */
extern OTA_EXPORT char g_hieCertPath[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_otaAgentData[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_cfgmgrSock[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_imagePrefix[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_tmpImage[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_swDwnld[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_otaDwnldProg[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_otamd5txt[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_upgrdStatus[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_upgrdRbtInfo[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_lastRbtInfo[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_otaActSuccess[OTA_PATH_WIDTH];
extern OTA_EXPORT char g_otaSwLog[OTA_PATH_WIDTH];

/* Time of day of the wanted activation reboot; the preferred one after start-up. */
extern OTA_EXPORT char g_rebootTime[OTA_TIME_TEXT_WIDTH];

/* The pending timer request: seconds (0 means stop) and timer name. */
extern OTA_EXPORT int32_t g_timerToSwmgnt;
extern OTA_EXPORT char g_timerTypeToSwmgnt[OTA_TIMER_NAME_WIDTH];

/* 1 from the start of a 30-minute window ("downloadStartTimer", or the onboarding "rebootTimer")
   until a handler of these timers clears it; a mobile trigger does not. */
extern OTA_EXPORT uint8_t g_dwldStartTimer;
/* 1 while a failed download waits for its "downloadRetryTimer". */
extern OTA_EXPORT uint8_t g_dwldRetryTimer;
/* 1 once the window for a mobile-app trigger has run out. */
extern OTA_EXPORT uint8_t g_mobileTriggerExpire;
/* 1 once an activation time arrived by signal. */
extern OTA_EXPORT uint8_t g_mAppRebootTrig;
/* 1 once an activation or a download was put off; see ota_ISUpgradeDefered. */
extern OTA_EXPORT uint8_t g_ISDeferedUpgrade;
/* 1 at load; 0 while the onboarding window before a swap runs. */
extern OTA_EXPORT int32_t g_firstTimeObardingWindowGivenPSNWBuildSame;
/* 1 while an activation reboot is scheduled. */
extern OTA_EXPORT int32_t reboot_flag;

/* The image being handled. Never cleared: a missing key keeps the previous value. */
extern OTA_EXPORT OtaMatrixItem swInfo;
/* The status last reported. */
extern OTA_EXPORT UpgradeStatus swUpgStat;
/* The activation time last received. Never cleared. */
extern OTA_EXPORT ActivationTime swActTime;
/* The configuration that came with the last new-image signal. */
extern OTA_EXPORT OtaLibConfig otaLibConfig;

/* MD5 sum of the last image as computed, line feed included, or as read from its file. */
extern OTA_EXPORT char md5CRC[OTA_CHECKSUM_WIDTH];
/* When the last installation started, and the same stamp once its flash write succeeded. */
extern OTA_EXPORT char start_dw_Time[OTA_TIME_STAMP_WIDTH];
extern OTA_EXPORT char stop_dw_Time[OTA_TIME_STAMP_WIDTH];

/* The download context. */
extern OTA_EXPORT HttpInfo g_httpInfo;

#ifdef __cplusplus
}
#endif

#endif
