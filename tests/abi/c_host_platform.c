/* SPDX-License-Identifier: MIT */
/* A platform in C: every call of the boundary, answered as a small extender would. */
#include "c_host_platform.h"

#include "platform/evbus.h"
#include "platform/nal.h"
#include "platform/nwa.h"
#include "platform/timers.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int gNotices;
int gErrors;
int gSignals;
int gNotifications;
char gLastSignal[1024];

const char *nal_getTmpDirectory(void) { return "."; }
const char *nal_getConfigsDirectory(void) { return "."; }
const char *nal_getLogsDirectory(void) { return "."; }
const char *nal_getHIECertifcatePath(void) { return "ca.pem"; }

int nal_getNodeInfo(void *record) {
    strcpy((char *)record + NAL_NODE_INFO_SERIAL_OFFSET, "SN-C");
    strcpy((char *)record + NAL_NODE_INFO_MODEL_OFFSET, "Model-C");
    return 0;
}

static int answer(char *destination, const char *text) {
    strcpy(destination, text);
    return 0;
}

int nal_getCurSwVersion(char *version) { return answer(version, "1.0"); }
int nal_getPrevSwVersion(char *version) {
    (void)version;
    return NAL_NO_PREVIOUS_IMAGE;
}
int nal_getWorkMode(char *mode) { return answer(mode, "AP_Bridge"); }
int nal_getWorkRole(char *role) { return answer(role, "Agent"); }
int nal_getRootOnBoardingStatus(int *status) {
    *status = 0;
    return 0;
}
int nal_getSwAutoUpgradeInfo(void *record) {
    return answer((char *)record + NAL_UPGRADE_INFO_TIME_OFFSET, "03:30");
}

/* Nothing that the C host calls may reach a bank, the gateway or a timer. */
static int unexpected(const char *call) {
    fprintf(stderr, "%s: not to be called here\n", call);
    exit(1);
}

int nal_setSwmgntFileServerInfo(const char *json) {
    (void)json;
    return unexpected("nal_setSwmgntFileServerInfo");
}
int nal_writePassiveImage(const char *imagePath) {
    (void)imagePath;
    return unexpected("nal_writePassiveImage");
}
int nal_activatePassiveImage(void) { return unexpected("nal_activatePassiveImage"); }
int nal_fallBackToActiveImage(void) { return unexpected("nal_fallBackToActiveImage"); }
int startTimer(int seconds, const char *name) {
    (void)seconds;
    return unexpected(name);
}
int stopTimer(const char *name) { return unexpected(name); }

void nalLogNotice(const char *function, int line, const char *format, ...) {
    (void)function;
    (void)line;
    (void)format;
    ++gNotices;
}
void nalLogError(const char *function, int line, const char *format, ...) {
    (void)function;
    (void)line;
    (void)format;
    ++gErrors;
}

int evbusSendSignal(const char *sender, const char *signalName, const char *data, int dataLen) {
    const int known = strcmp(sender, EVBUS_AGENT_NAME) == 0 &&
                      strcmp(signalName, EVBUS_STATUS_SIGNAL) == 0 && dataLen > 0;
    gSignals += known;
    snprintf(gLastSignal, sizeof gLastSignal, "%s", data != NULL ? data : "");
    return 0;
}

int nwa_sendNotificationToRoot(const SwmgntSyncMsg *message) {
    const char *text = (const char *)message + OTA_SYNC_MSG_CONFIG_OFFSET;
    gNotifications += strlen(text) + 1 == message->dataLen;
    free((void *)message);
    return 0;
}
