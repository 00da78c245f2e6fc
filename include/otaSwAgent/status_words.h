/* SPDX-License-Identifier: MIT */
/* Every status word that the agent reports, each written once. */
#ifndef OTASWAGENT_STATUS_WORDS_H
#define OTASWAGENT_STATUS_WORDS_H

/* The offered version is the running one; nothing to do. */
#define OTA_STATUS_NO_UPGRADE "NO_OTA_SW_UPGRADE"
/* The offered version is already in the passive bank; no download, it will be activated. */
#define OTA_STATUS_SWAP_PASSIVE "OTA_SW_SWAP_PASSIVE"
/* Policy 3: the passive bank was activated, the reboot follows. */
#define OTA_STATUS_ACTIVATION_REBOOT_COMPLETE "OTA_SW_ACTIVATION_REBOOT_COMPLETE"
/* The seventh failed attempt in a row: the download gives up. */
#define OTA_STATUS_RECONNECT "OTA_RECONNECT_BUE"
/* The image's MD5 sum is not the one in the descriptor. */
#define OTA_STATUS_CRC_CHECK_FAILED "OTA_CRC_CHECK_FAILED"
/* The image could not be written to the passive bank. */
#define OTA_STATUS_FLASH_WRITE_FAILED "OTA_SW_FLASH_WRITE_FAILED"
/* Activated, the reboot follows; with policy 2: written to the passive bank only. */
#define OTA_STATUS_ACTIVATION_COMPLETE "OTA_SW_ACTIVATION_COMPLETE"
/* The passive bank could not be made the one to boot. */
#define OTA_STATUS_ACTIVATION_FAILED "OTA_SW_ACTIVATION_FAILED"
/* After the reboot: the activated version runs. */
#define OTA_STATUS_COMMIT_COMPLETE "OTA_SW_COMMIT_COMPLETE"
/* After the reboot: another version runs. */
#define OTA_STATUS_COMMIT_FAILED "OTA_SW_COMMIT_FAILED"

#endif
