/* SPDX-License-Identifier: MIT */
/* A stand-in for the agent's library: every call tells on the bus that it was made, and how. */
#include "otaSwAgent/agent.h"
#include "platform/evbus.h"
#include "platform/nal.h"
#include "platform/nwa.h"
#include "platform/timers.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The state that a host keeps over its own end. */
OtaMatrixItem swInfo;
ActivationTime swActTime;
OtaLibConfig otaLibConfig;
char g_rebootTime[OTA_TIME_TEXT_WIDTH];
uint8_t g_dwldStartTimer;
uint8_t g_dwldRetryTimer;
uint8_t g_mobileTriggerExpire;
uint8_t g_mAppRebootTrig;
uint8_t g_ISDeferedUpgrade;
int32_t g_firstTimeObardingWindowGivenPSNWBuildSame = 1;
int32_t reboot_flag;

static int deferred;

static void take(const cJSON *object, const char *key, char *text, size_t width) {
    snprintf(text, width, "%s", cJSON_GetObjectItem(object, key)->valuestring);
}

int decode_OtaMatrixItem_from_json(const cJSON *object, OtaMatrixItem *record) {
    take(object, "model", record->model, sizeof record->model);
    take(object, "nxtMSVersion", record->nxtMSVersion, sizeof record->nxtMSVersion);
    take(object, "fileServerURL", record->fileServerURL, sizeof record->fileServerURL);
    take(object, "checksum", record->checksum, sizeof record->checksum);
    take(object, "mac", record->mac, sizeof record->mac);
    record->policy = cJSON_GetObjectItem(object, "policy")->valueint;
    return 0;
}

cJSON *encode_OtaMatrixItem_to_json(const OtaMatrixItem *record) {
    cJSON *object = cJSON_CreateObject();
    cJSON_AddStringToObject(object, "model", record->model);
    cJSON_AddStringToObject(object, "nxtMSVersion", record->nxtMSVersion);
    cJSON_AddStringToObject(object, "fileServerURL", record->fileServerURL);
    cJSON_AddStringToObject(object, "checksum", record->checksum);
    cJSON_AddStringToObject(object, "mac", record->mac);
    cJSON_AddNumberToObject(object, "policy", record->policy);
    return object;
}

int decode_ActivationTime_from_json(const cJSON *object, ActivationTime *record) {
    take(object, "model", record->model, sizeof record->model);
    take(object, "mac", record->mac, sizeof record->mac);
    take(object, "sn", record->sn, sizeof record->sn);
    take(object, "actTime", record->actTime, sizeof record->actTime);
    return 0;
}

cJSON *encode_ActivationTime_to_json(const ActivationTime *record) {
    cJSON *object = cJSON_CreateObject();
    cJSON_AddStringToObject(object, "model", record->model);
    cJSON_AddStringToObject(object, "mac", record->mac);
    cJSON_AddStringToObject(object, "sn", record->sn);
    cJSON_AddStringToObject(object, "actTime", record->actTime);
    return object;
}

static int tell(const char *name, const char *data) {
    return evbusSendSignal("fake", name, data, data == NULL ? 0 : (int)strlen(data) + 1);
}

static void tellNumber(const char *name, int number) {
    char text[32];
    snprintf(text, sizeof text, "%d", number);
    tell(name, text);
}

void initOTAlib(void) { tell("initOTAlib", nal_getTmpDirectory()); }

const char *getOtaActSuccessPath(void) { return "ota_act_success"; }

const char *getCfgmgrSocketPath(void) { return "cfgmgr_socket"; }

OTA_EXPORT int fakeMain(void) __asm__("main");
int fakeMain(void) {
    tellNumber("main", startTimer(-7, "rebootTimer"));
    return 0;
}

int sendUpgradeSignalToSwMgnt(const char *statusWord) { return tell("report", statusWord); }

void otaSwAgentSWCommitStatus(void) { tell("commit", NULL); }

void otaSwmgnt_process_newimage_info(const char *jsonText, void *reserved,
                                     const OtaLibConfig *config) {
    char text[256];
    if (strcmp(jsonText, "hand over") == 0) {
        tellNumber("handOver", nal_setSwmgntFileServerInfo("{\"swVersion\":\"1\"}"));
        return;
    }
    snprintf(text, sizeof text, "%s|%d|%d|%d|%d", jsonText, reserved == NULL,
             config->OffloadDownloadActivate, config->initial_obardingStatus,
             config->firsttime_polling);
    tell("newImage", text);
    deferred = 1;
}

void otaMobileApp_process_newimage_request(const MobileAppNotify *notify) {
    tellNumber("mobileTrigger", notify->newswavailflag);
}

void otaSwmgnt_process_activation_time(const char *jsonText, void *reserved) {
    static const char kText[] = "an envelope";
    SwmgntSyncMsg *message = calloc(1, sizeof(SwmgntSyncMsg) + sizeof kText);
    (void)reserved;
    if (message == NULL) {
        abort();
    }
    message->dataLen = sizeof kText;
    memcpy((char *)message + OTA_SYNC_MSG_CONFIG_OFFSET, kText, sizeof kText);
    tellNumber(jsonText, nwa_sendNotificationToRoot(message));
}

void otaSwAgentProcessRebootTimer(void) { tellNumber("rebootTimer", stopTimer("rebootTimer")); }

void otaSwAgentProcessDownloadStartTimer(void) { tell("downloadStartTimer", ""); }

void otaSwAgentProcessDownloadRetryTimer(void) { tell("downloadRetryTimer", ""); }

#ifndef WITHOUT_QUERY
int ota_ISUpgradeDefered(void) { return deferred; }
#endif
