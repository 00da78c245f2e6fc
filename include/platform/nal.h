/* SPDX-License-Identifier: MIT */
/* The node library: what the agent asks of the device it runs on. */
#ifndef PLATFORM_NAL_H
#define PLATFORM_NAL_H

/*
 * Every call is made on the host's thread, one at a time, and may be made again at any time.
 * Texts returned stay the platform's: the agent copies what it keeps and releases nothing.
 */

#ifdef __cplusplus
extern "C" {
#endif

enum {
    NAL_NODE_INFO_SIZE = 552,            /* bytes of the node-information record */
    NAL_NODE_INFO_SERIAL_OFFSET = 83,    /* serial number, 31 characters are read */
    NAL_NODE_INFO_MODEL_OFFSET = 148,    /* model name, 31 characters are read */
    NAL_UPGRADE_INFO_SIZE = 2213,        /* bytes of the auto-upgrade settings record */
    NAL_UPGRADE_INFO_TIME_OFFSET = 2051, /* preferred activation time, under 32 bytes */
    NAL_MODE_WIDTH = 33,                 /* a work mode or role, NUL included */
    NAL_VERSION_WIDTH = 64,              /* a software version, NUL included */
    NAL_NO_PREVIOUS_IMAGE = -10          /* nal_getPrevSwVersion: the other bank holds no image */
};

/* ---- Directories: never null, no trailing "/", valid for the life of the process ----
 *
 * The agent keeps 30 characters of each path it builds from them, and of a path that it removes
 * before a download ("rm -rf <path>") 11: with a temporary directory of 10 or more characters that
 * is the directory itself or another one. Keep it at 6 or fewer, with which "/4QZ*" fits in.
 */
const char *nal_getTmpDirectory(void);      /* downloads, progress, agent data; lost on reboot */
const char *nal_getConfigsDirectory(void);  /* survives a reboot */
const char *nal_getLogsDirectory(void);     /* debug log, activation mark; survives a reboot */
const char *nal_getHIECertifcatePath(void); /* CA certificate file for https downloads */

/* ---- Identity and state: 0 is success; on failure the argument is left as it was ---- */

/* Fills a zeroed record of NAL_NODE_INFO_SIZE bytes with two texts at the offsets above. */
int nal_getNodeInfo(void *record);
/*
 * The version of the bank that runs, which need not be the one activated last: after a boot the
 * agent tells by this whether the activation took, and reports a failure to answer as a failed
 * commit. At most NAL_VERSION_WIDTH bytes; one of more than 30 characters is never committed.
 */
int nal_getCurSwVersion(char *version);
/* The version in the passive bank; NAL_NO_PREVIOUS_IMAGE where that holds no whole image. */
int nal_getPrevSwVersion(char *version);
/* "RGW" or "AP_Bridge", at most NAL_MODE_WIDTH bytes. */
int nal_getWorkMode(char *mode);
/* "Controller" or another role, at most NAL_MODE_WIDTH bytes. */
int nal_getWorkRole(char *role);
/* 1 while the node is being onboarded, else 0. */
int nal_getRootOnBoardingStatus(int *status);
/* Fills a zeroed record of NAL_UPGRADE_INFO_SIZE bytes with the preferred activation time. */
int nal_getSwAutoUpgradeInfo(void *record);

/* Hands the file-server JSON of an offloaded image to the gateway. 0: accepted. May block. */
int nal_setSwmgntFileServerInfo(const char *json);

/* ---- Banks ---- */

/*
 * Writes the image file into the passive bank. 0: every byte is there and was read back; any
 * other value: it is not, and the passive bank must not be bootable, unless the image was refused
 * before its first byte was written. Never touches the running bank and never changes which bank
 * boots; a bank that was activated is not written over. Blocks for the whole write.
 */
int nal_writePassiveImage(const char *imagePath);

/*
 * Makes the passive bank the one to boot next. NOT 0 is success, also where it was activated
 * before: the choice survives a power cut, and the bank is on trial. It boots a limited number of
 * times until the node marks it good, without a call of the agent's; then the running one boots
 * again by itself. 0: the passive bank holds no whole image, its version failed a trial before, the
 * running bank is on trial itself, or the choice could not be stored; the running bank stays the
 * one to boot. May block to read the bank.
 */
int nal_activatePassiveImage(void);

/*
 * Makes the running bank the one to boot where an activation failed half-way. The agent calls
 * it at the end of every installation, also in the same run as a successful activation, right
 * behind its reboot command: an activation that succeeded must stand. The result is ignored. May
 * block to read the bank.
 */
int nal_fallBackToActiveImage(void);

/* ---- Logger ---- */

/*
 * One notice or error. `format` and its arguments already carry "ota: [unit function:line] ".
 * Does not add a line end that is part of the text. Must not block for long.
 */
void nalLogNotice(const char *function, int line, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;
void nalLogError(const char *function, int line, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

#ifdef __cplusplus
}
#endif

#endif
