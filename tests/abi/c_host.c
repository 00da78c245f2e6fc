/* SPDX-License-Identifier: MIT */
/* A host in C: opens the library by its path, finds the calls by name, uses the public headers. */
#include "otaSwAgent/agent.h"

#include "c_host_platform.h"

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void *gLibrary;

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "the C host expected: %s\n", what);
        exit(1);
    }
}

/* C has no conversion from an object pointer to a function pointer; the bytes are the same. */
static void find(const char *name, void *destination) {
    void *address = dlsym(gLibrary, name);
    expect(address != NULL, name);
    memcpy(destination, &address, sizeof address);
}

static void startTheAgent(void) {
    void (*start)(void);
    int (*agentMain)(void);
    const char *(*socketPath)(void);
    const char *rebootTime;
    const UpgradeStatus *status;
    FILE *socketFile;

    find("initOTAlib", &start);
    find("main", &agentMain);
    find("getCfgmgrSocketPath", &socketPath);
    find("g_rebootTime", &rebootTime);
    find("swUpgStat", &status);

    expect(socketPath()[0] == '\0', "no path before initOTAlib");
    start();
    expect(strcmp(socketPath(), "./cfgmgr_socket") == 0, "the path of the socket");
    socketFile = fopen(socketPath(), "w");
    expect(socketFile != NULL && fclose(socketFile) == 0, "a folder that can be written");

    expect(agentMain() == 0, "the library's main answers 0");
    expect(strcmp(rebootTime, "03:30") == 0, "the preferred activation time");
    expect(strcmp(status->model, "Model-C") == 0, "the model");
    expect(strcmp(status->prevswversion, "") == 0, "no previous version");
}

static void reportAStatus(void) {
    int (*report)(const char *);
    find("sendUpgradeSignalToSwMgnt", &report);
    expect(report(OTA_STATUS_COMMIT_COMPLETE) == 0, "a report answers 0");
    expect(gSignals == 1 && gNotifications == 1, "one signal and one notification");
    expect(strstr(gLastSignal, OTA_STATUS_COMMIT_COMPLETE) != NULL, "the status word");
    expect(gNotices > 0 && gErrors > 0, "notices and errors in the platform's logger");
}

static void useTheCodec(void) {
    int (*parse)(const char *, OtaMatrixItem *);
    cJSON *(*encode)(const OtaMatrixItem *);
    OtaMatrixItem item;
    cJSON *object;

    find("parse_OtaMatrixItem_from_json", &parse);
    find("encode_OtaMatrixItem_to_json", &encode);
    memset(&item, 0, sizeof item);
    expect(parse("{\"nxtMSVersion\":\"2.0\",\"policy\":3}", &item) == 0, "a parsed descriptor");
    expect(strcmp(item.nxtMSVersion, "2.0") == 0 && item.policy == 3, "its fields");
    object = encode(&item);
    expect(cJSON_GetObjectItemCaseSensitive(object, "policy")->valueint == 3, "the way back");
    cJSON_Delete(object);
}

static void askTheQueries(void) {
    int (*deferred)(void);
    int (*uptime)(void);
    find("ota_ISUpgradeDefered", &deferred);
    find("get_uptime", &uptime);
    expect(deferred() == 0, "nothing deferred");
    expect(uptime() > 0, "an uptime");
}

int main(int argc, char **argv) {
    expect(argc == 2, "the path of the library as the one argument");
    gLibrary = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (gLibrary == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    startTheAgent();
    reportAStatus();
    useTheCodec();
    askTheQueries();
    expect(dlclose(gLibrary) == 0, "a library that can be closed");
    return 0;
}
