// SPDX-License-Identifier: MIT
// An agent that does nothing but ask the desk's stand-ins, and writes down what they answer.
#include "otaSwAgent/agent.h"
#include "otaSwAgent/globals.h"

#include <cjson/cJSON.h>
#include <net/if.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

/* The state that a host keeps over its own end; this agent has none to keep. */
OtaMatrixItem swInfo;
ActivationTime swActTime;
OtaLibConfig otaLibConfig;
char g_rebootTime[OTA_TIME_TEXT_WIDTH];
uint8_t g_dwldStartTimer;
uint8_t g_dwldRetryTimer;
uint8_t g_mobileTriggerExpire;
uint8_t g_mAppRebootTrig;
uint8_t g_ISDeferedUpgrade;
int32_t g_firstTimeObardingWindowGivenPSNWBuildSame;
int32_t reboot_flag;

static FILE *answers;

static void tellCommand(const char *command) {
    fprintf(answers, "system %s: %d\n", command, system(command));
}

static double seconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

static void tellMac(const char *interface) {
    struct ifreq request;
    memset(&request, 0, sizeof request);
    snprintf(request.ifr_name, sizeof request.ifr_name, "%s", interface);
    const int any = socket(AF_INET, SOCK_DGRAM, 0);
    const int result = ioctl(any, SIOCGIFHWADDR, &request);
    const unsigned char *const mac = (const unsigned char *)request.ifr_hwaddr.sa_data;
    fprintf(answers, "mac %s: %d %02X:%02X:%02X:%02X:%02X:%02X\n", interface, result, mac[0],
            mac[1], mac[2], mac[3], mac[4], mac[5]);
    close(any);
}

int decode_OtaMatrixItem_from_json(const cJSON *object, OtaMatrixItem *record) {
    (void)object;
    (void)record;
    return 0;
}

cJSON *encode_OtaMatrixItem_to_json(const OtaMatrixItem *record) {
    (void)record;
    return cJSON_CreateObject();
}

int decode_ActivationTime_from_json(const cJSON *object, ActivationTime *record) {
    (void)object;
    (void)record;
    return 0;
}

cJSON *encode_ActivationTime_to_json(const ActivationTime *record) {
    (void)record;
    return cJSON_CreateObject();
}

int getIfMac(const char *ifName, char *out, size_t outLen) {
    (void)ifName;
    snprintf(out, outLen, "02:00:5E:00:53:01");
    return 0;
}

void initOTAlib(void) {}
const char *getCfgmgrSocketPath(void) { return "cfgmgr_socket"; }
const char *getOtaActSuccessPath(void) { return "ota_act_success"; }
int sendUpgradeSignalToSwMgnt(const char *statusWord) {
    (void)statusWord;
    return 0;
}
void otaSwAgentSWCommitStatus(void) {}
void otaMobileApp_process_newimage_request(const MobileAppNotify *notify) { (void)notify; }
void otaSwmgnt_process_activation_time(const char *text, void *reserved) {
    (void)text;
    (void)reserved;
}
void otaSwAgentProcessRebootTimer(void) {}
void otaSwAgentProcessDownloadStartTimer(void) {}
void otaSwAgentProcessDownloadRetryTimer(void) {}
int ota_ISUpgradeDefered(void) { return 0; }

int main(void) {
    answers = fopen("answers.txt", "a");
    return answers == NULL;
}

void otaSwmgnt_process_newimage_info(const char *text, void *reserved, const OtaLibConfig *config) {
    static const char *const kCommands[] = {
        "echo inside > ./inside.txt",
        "rm /tmp/ota_agent_data",
        "rm /tmp/otaMD5.txt",
        "echo outside > /tmp/ota-desk-outside",
        "echo outside >/tmp/ota-desk-outside",
        "echo outside > ../outside.txt",
        "echo outside > $HOME/ota-desk-outside",
        "echo outside;touch ./second.txt",
        "/sbin/reboot now",
    };
    (void)text;
    (void)reserved;
    (void)config;
    for (size_t i = 0; i < sizeof kCommands / sizeof *kCommands; ++i) {
        tellCommand(kCommands[i]);
    }
    tellMac("br0");
    tellMac("lo");
    const double before = seconds();
    const unsigned int left = sleep(60);
    const double took = seconds() - before;
    fprintf(answers, "sleep: %u after %s\n", left,
            took < 0.001 ? "no time" : (took < 30 ? "a moment" : "long"));
    fclose(answers);
}
