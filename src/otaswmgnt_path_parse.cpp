// SPDX-License-Identifier: MIT
// The runtime path table: thirteen paths, each with its builder and its getter.
#include <stdio.h>

#include "support/log.h"

static constexpr char kUnit[] = "otaswmgnt_path_parse";

// entry, getter, builder, source of the directory, what follows it, the words for a null argument
#define OTA_PATHS(PATH)                                                                            \
    PATH(g_hieCertPath, getHieCertPath, parseHieCertPath, nal_getHIECertifcatePath, "",            \
         "Invalid/NULL hie certificate argument received\n")                                       \
    PATH(g_otaAgentData, getOtaAgentDataPath, parseOtaAgentDataPath, nal_getTmpDirectory,          \
         "/ota_agent_data", "Invalid/NULL ota agent argument received\n")                          \
    PATH(g_cfgmgrSock, getCfgmgrSocketPath, parseCfgmgrSocketPath, nal_getTmpDirectory,            \
         "/cfgmgr_socket", "Invalid/NULL cfg sock argument received\n")                            \
    PATH(g_imagePrefix, getImagePrefixPath, parseImagePrefixPath, nal_getTmpDirectory, "/4QZ*",    \
         "Invalid/NULL image prefix argument received\n")                                          \
    PATH(g_tmpImage, getTmpImgPath, parseTmpImgPath, nal_getTmpDirectory, "/tmpImage",             \
         "Invalid/NULL temporary image arugment received\n")                                       \
    PATH(g_swDwnld, getSoftwareDownloadPath, parseSoftwareDownloadPath, nal_getTmpDirectory,       \
         "/software_download", "Invalid/NULL SW download argument received\n")                     \
    PATH(g_otaDwnldProg, getOtaDownloadProgPath, parseOtaDownloadProgPath, nal_getTmpDirectory,    \
         "/ota_dwld_prog", "Invalid/NULL OTA download progress argument received\n")               \
    PATH(g_otamd5txt, getOtaMD5TxtPath, parseOtaMD5TxtPath, nal_getTmpDirectory, "/otaMD5.txt",    \
         "Invalid/NULL OTA MD5 text argument received\n")                                          \
    PATH(g_upgrdStatus, getUpgradeStatusPath, parseUpgradeStatusPath, nal_getTmpDirectory,         \
         "/upgrade_status", "Invalid/NULL upgrade status argument received\n")                     \
    PATH(g_upgrdRbtInfo, getUpgradeDoneRebootPath, parseUpgradeDoneRebootPath,                     \
         nal_getTmpDirectory, "/upgrade_done_reboot",                                              \
         "Invalid/NULL upgrade done reboot argument received\n")                                   \
    PATH(g_lastRbtInfo, getLastRebootInfoPath, parseLastRebootInfoPath, nal_getConfigsDirectory,   \
         "/last_reboot_info", "Invalid/NULL last reboot info argument received\n")                 \
    PATH(g_otaActSuccess, getOtaActSuccessPath, parseOtaActSuccessPath, nal_getLogsDirectory,      \
         "/ota_act_success", "Invalid/NULL ota act success argument received\n")                   \
    PATH(g_otaSwLog, getOtaSwAgentLogPath, parseOtaSwAgentLogPath, nal_getLogsDirectory,           \
         "/otaSwAgent.log", "Invalid/NULL ota software log argument received\n")

// Kept: the limit is one less than the buffer, so an entry holds at most 30 characters.
#define OTA_DEFINE_PATH(entry, getter, builder, source, leaf, nullMessage)                         \
    const char *getter(void) { return entry; }                                                     \
    void builder(char *destination, size_t size) {                                                 \
        if (destination == nullptr) {                                                              \
            OTA_PLATFORM_ERROR(nullMessage);                                                       \
            return;                                                                                \
        }                                                                                          \
        if (size > 0) {                                                                            \
            snprintf(destination, size - 1, "%s" leaf, source());                                  \
        }                                                                                          \
    }

OTA_PATHS(OTA_DEFINE_PATH)

#define OTA_BUILD_PATH(entry, getter, builder, source, leaf, nullMessage)                          \
    builder(entry, sizeof entry);

void initOTAlib(void) { OTA_PATHS(OTA_BUILD_PATH) }
