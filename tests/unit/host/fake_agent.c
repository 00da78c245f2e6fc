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

static int deferred;

static int tell(const char *name, const char *data) {
    return evbusSendSignal("fake", name, data, data == NULL ? 0 : (int)strlen(data) + 1);
}

static void tellNumber(const char *name, int number) {
    char text[32];
    snprintf(text, sizeof text, "%d", number);
    tell(name, text);
}

void initOTAlib(void) { tell("initOTAlib", nal_getTmpDirectory()); }

const char *getCfgmgrSocketPath(void) { return "cfgmgr_socket"; }

OTA_EXPORT int fakeMain(void) __asm__("main");
int fakeMain(void) {
    tellNumber("main", startTimer(-7, "rebootTimer"));
    return 0;
}

void otaSwAgentSWCommitStatus(void) { tell("commit", NULL); }

void otaSwmgnt_process_newimage_info(const char *jsonText, void *reserved,
                                     const OtaLibConfig *config) {
    char text[256];
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
