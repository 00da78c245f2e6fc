/* SPDX-License-Identifier: MIT */
/* The calls that a host makes to the agent. */
#ifndef OTASWAGENT_AGENT_H
#define OTASWAGENT_AGENT_H

#include <curl/curl.h>
#include <stddef.h>
#include <stdint.h>

#include "otaSwAgent/codec.h"
#include "otaSwAgent/globals.h"
#include "otaSwAgent/records.h"
#include "otaSwAgent/status_words.h"

/*
 * The agent has no thread and no loop of its own: all its work happens inside these calls,
 * one at a time, on the host's thread. Order: initOTAlib, the library's `main`, then
 * otaSwAgentSWCommitStatus once after a boot, then events as they come.
 *
 * `main` takes nothing and returns 0. It polls every 2 s, without limit, until the file
 * named by getCfgmgrSocketPath exists (forever where initOTAlib was not called), then sets
 * the download context's defaults, reads the preferred activation time and the identity of
 * the node. It is not declared here, since a host has a `main` of its own: find it with
 * dlsym(handle, "main").
 *
 * Unless said otherwise a call does not block and pointers must not be null. A report waits for as
 * long as evbusSendSignal and nwa_sendNotificationToRoot take. Outcomes are
 * reported as status words (status_words.h) through evbusSendSignal and, on a node that is
 * not the gateway, nwa_sendNotificationToRoot.
 */

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Start-up ---- */

/* Builds the thirteen runtime paths from the platform's directories. Call it first. */
OTA_EXPORT void initOTAlib(void);

/* ---- Events ---- */

/*
 * A new image is offered. `jsonText`: the descriptor (OtaMatrixItem); where it does not parse,
 * or keys are missing, the previous values are acted upon. `reserved` is not used. `config`:
 * how this node takes the upgrade. Blocks for a download (at most 600 s), a flash write and
 * sleeps of up to 25 s; may run "/sbin/reboot" and returns after it.
 */
OTA_EXPORT void otaSwmgnt_process_newimage_info(const char *jsonText, void *reserved,
                                                const OtaLibConfig *config);

/*
 * The mobile app says go. Always removes "/tmp/ota_agent_data". Acts on newswavailflag 1 unless the
 * window has run out (whether one was open is not asked); then blocks as above.
 */
OTA_EXPORT void otaMobileApp_process_newimage_request(const MobileAppNotify *notify);

/*
 * A new activation time. `jsonText`: an ActivationTime; an empty "actTime" changes no time.
 * Where a reboot is scheduled its timer is stopped and started anew. `reserved` is not used.
 */
OTA_EXPORT void otaSwmgnt_process_activation_time(const char *jsonText, void *reserved);

/* After a boot: compares the running version with the activated one, reports, removes the marker.
 */
OTA_EXPORT void otaSwAgentSWCommitStatus(void);

/* "rebootTimer" ran out. Activates and reboots, or defers. Blocks 10 s before the reboot. */
OTA_EXPORT void otaSwAgentProcessRebootTimer(void);
/* "downloadStartTimer" ran out. Downloads (blocks as a new image does), or defers. */
OTA_EXPORT void otaSwAgentProcessDownloadStartTimer(void);
/* "downloadRetryTimer" ran out. Tries the download again; blocks as a new image does. */
OTA_EXPORT void otaSwAgentProcessDownloadRetryTimer(void);

/* ---- Queries ---- */

/* 1 once an activation (onboarding) or a download (that, or no gateway) was put off, else 0. */
OTA_EXPORT int ota_ISUpgradeDefered(void);
/* Seconds since boot; 0 where the system does not tell. */
OTA_EXPORT int get_uptime(void);

/* ---- Runtime paths ---- */

/* Each getter: the path, at most 30 characters; empty before initOTAlib. Do not write to it. */
OTA_EXPORT const char *getHieCertPath(void);
OTA_EXPORT const char *getOtaAgentDataPath(void);
OTA_EXPORT const char *getCfgmgrSocketPath(void);
OTA_EXPORT const char *getImagePrefixPath(void);
OTA_EXPORT const char *getTmpImgPath(void);
OTA_EXPORT const char *getSoftwareDownloadPath(void);
OTA_EXPORT const char *getOtaDownloadProgPath(void);
OTA_EXPORT const char *getOtaMD5TxtPath(void);
OTA_EXPORT const char *getUpgradeStatusPath(void);
OTA_EXPORT const char *getUpgradeDoneRebootPath(void);
OTA_EXPORT const char *getLastRebootInfoPath(void);
OTA_EXPORT const char *getOtaActSuccessPath(void);
OTA_EXPORT const char *getOtaSwAgentLogPath(void);

/*
 * Each builder: writes its path into `destination` of `size` bytes, cut at size - 2 characters.
 * A null destination is logged and nothing is written.
 */
OTA_EXPORT void parseHieCertPath(char *destination, size_t size);
OTA_EXPORT void parseOtaAgentDataPath(char *destination, size_t size);
OTA_EXPORT void parseCfgmgrSocketPath(char *destination, size_t size);
OTA_EXPORT void parseImagePrefixPath(char *destination, size_t size);
OTA_EXPORT void parseTmpImgPath(char *destination, size_t size);
OTA_EXPORT void parseSoftwareDownloadPath(char *destination, size_t size);
OTA_EXPORT void parseOtaDownloadProgPath(char *destination, size_t size);
OTA_EXPORT void parseOtaMD5TxtPath(char *destination, size_t size);
OTA_EXPORT void parseUpgradeStatusPath(char *destination, size_t size);
OTA_EXPORT void parseUpgradeDoneRebootPath(char *destination, size_t size);
OTA_EXPORT void parseLastRebootInfoPath(char *destination, size_t size);
OTA_EXPORT void parseOtaActSuccessPath(char *destination, size_t size);
OTA_EXPORT void parseOtaSwAgentLogPath(char *destination, size_t size);

/* ---- The agent's rooms, exported for hosts and tests ---- */

/*
 * Appends " [ dd Mon yyyy hh:mm:ss ] " and the formatted text to the debug log, which starts
 * over once it is larger than 10240 bytes. Always 0; an entry that cannot be written is lost.
 */
OTA_EXPORT int otaDebugLog(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/* Starts (seconds not 0) or stops the timer of the pending request, then clears it. Always 0. */
OTA_EXPORT int otaSwAgentStartStopTimer(void);

/*
 * Seconds from now to the next local occurrence of "hh[:mm[:ss]]"; 86400 for the present
 * second. Text beyond 63 characters is cut, a fourth field ignored, a non-number is 0; a
 * result that no int holds becomes the nearest one.
 */
OTA_EXPORT int getTimeInSeonds(const char *timeText);
/* The same for three numbers; out-of-range ones are carried over (25:00 is tomorrow 01:00). */
OTA_EXPORT int diff_time(int hour, int minute, int second);

/* The node's work mode or role into a text of at least 33 bytes. Always 1. */
OTA_EXPORT int ota_intf_getWorkMode(char *mode);
OTA_EXPORT int ota_intf_getWorkRole(char *role);
/*
 * Mode and role (texts of at least 33 bytes, zeroed by the caller) and the onboarding status.
 * 0, or -1 where the onboarding status cannot be had.
 */
OTA_EXPORT int ota_getWifiServiceObj(char *workMode, char *workRole, int *onboardStatus);
/* "RGW", "AP_Bridge", or workMode itself; null where workMode is. A controller counts as "RGW". */
OTA_EXPORT const char *ota_getMode(const char *workMode, const char *workRole);
/* The preferred activation time into 32 bytes. 0, or -1 with the destination untouched. */
OTA_EXPORT int ota_getOtaPrefActTime(char *destination);

/*
 * The hardware address of an interface (name cut at 15 characters) as "AA:BB:CC:DD:EE:FF", cut
 * to outLen - 1 characters. 0, or -1 with out untouched: null argument, no socket, no interface.
 */
OTA_EXPORT int getIfMac(const char *ifName, char *out, size_t outLen);
/* Model, serial number, versions and MAC into swUpgStat. 0, or -1 with nothing changed. */
OTA_EXPORT int initUpgradeStatusInfo(void);

/* Reports a status word (cut at 49 characters). 0, or -1 where the record could not be encoded. */
OTA_EXPORT int sendUpgradeSignalToSwMgnt(const char *statusWord);
/* Publishes swUpgStat as it stands. 0, or -1 where it could not be encoded. */
OTA_EXPORT int otaSwAgent_sendUpgradeSignal(void);
/*
 * Raises the bus signal and, away from the gateway, notifies the root. `data` of `dataLen`
 * bytes, NUL included, may be null. Any signal but "upgrade_status" ends the process with 1.
 */
OTA_EXPORT void otaswmgnt_sendSignal(const char *signal, const char *data, int dataLen);

/* Stores the configuration of a new-image signal in otaLibConfig. */
OTA_EXPORT void ota_recv_config(const OtaLibConfig *config);
/* Parses a descriptor into swInfo; a text that is null or no JSON is logged and changes nothing. */
OTA_EXPORT void ota_recv_newimagenfo(const char *jsonText);
/* 1: the image in swInfo is to be downloaded. 0: it is not. Blocks 5 s and more for a swap. */
OTA_EXPORT int isReceivedValidImage(void);
/* Hands the image to the gateway, or downloads and installs it. Blocks as a new image does. */
OTA_EXPORT void downloadAndUpgrade(void);
/* Parses an activation time into swActTime; a text that does not parse changes nothing. */
OTA_EXPORT void ota_recv_newActivationTime(const char *jsonText);
/* Activates the passive bank by policy: 0 arms "rebootTimer", 1 at once (blocks 10 s). */
OTA_EXPORT void startRebootTimer(void);

/*
 * Fetches swInfo's image; blocks for up to 600 s. 0: the file is there, or the attempt was not
 * counted while none was pending. 1: failed, a retry is pending. -1: nothing fetched, or the last
 * retry is used up. 5003: https without a CA certificate file. Writes info's `url` and
 * `downloadPath` and the global's `certPath`; info's own `certPath` is the one that is used. A
 * partial file stays until the next download.
 */
OTA_EXPORT int ota_httpDownLoadFile(HttpInfo *info);
/*
 * "<tmp directory>/<imageName>" into `destination`, which holds 256 bytes or what a longer tmp
 * directory of the platform needs: the path is never cut. Always 0.
 */
OTA_EXPORT int ota_getFileDownloadPath(char *destination, const char *imageName);
/* libcurl's write callback: `count` items to the FILE `stream`. A short count aborts a transfer. */
OTA_EXPORT size_t dlFile_writeFunc(void *buffer, size_t size, size_t count, void *stream);
/*
 * libcurl's socket-option callbacks. `client` is the HttpInfo; sets its `mss` (bytes, above 0) on a
 * socket of purpose CURLSOCKTYPE_IPCXN. Always 0: a connection goes on without the size.
 */
OTA_EXPORT int curlSockOptCallback(void *client, curl_socket_t socket, curlsocktype purpose);
OTA_EXPORT int curlPollSockOptCallback(void *client, curl_socket_t socket, curlsocktype purpose);

/* Checks, writes and activates the downloaded image by policy. Blocks up to 10 s and the write. */
OTA_EXPORT void upgrade(void);
/* Local time as "yyyy-mm-ddThh:mm:ss" into at least 20 bytes. */
OTA_EXPORT void getCurrentTime(char *text);
/*
 * Reads the expected sum from the MD5 text file into md5CRC, which is empty where there is none,
 * then runs "rm /tmp/otaMD5.txt". The result has no meaning.
 */
OTA_EXPORT int ota_read_MD5CRC(void);

#ifdef __cplusplus
}
#endif

#endif
