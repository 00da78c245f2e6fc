/* SPDX-License-Identifier: MIT */
/* A host: one offer, from the start of the agent to the reboot. Linked with libotaSwAgent and the
 * node's platform; docs/first-port.md has one, and a safe place to try both. */
#include <dlfcn.h>
#include <stdio.h>

#include "otaSwAgent/agent.h"

/* Acted upon where `mac` is that of this node's "br0"; `checksum` is the MD5 sum of the file. */
static const char *const kOffer = "{\"model\": \"GW-1\","
                                  " \"nxtMSVersion\": \"4QZ-2.0\","
                                  " \"fileServerURL\": \"http://127.0.0.1:8000/4QZ-2.0\","
                                  " \"checksum\": \"31250a0980015aec091f9336ea8fd2e1\","
                                  " \"mac\": \"02:00:5E:00:53:01\","
                                  " \"policy\": 1}"; /* write, activate, reboot */

void runTimers(void); /* the platform's: calls the handler of each timer that runs out */

int main(void) {
    const OtaLibConfig config = {0, 1, 0}; /* no offload; not the first onboarding poll */
    void *agent = dlopen("libotaSwAgent.so", RTLD_NOW);
    int (*agentMain)(void) = NULL;

    if (agent == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    *(void **)&agentMain = dlsym(agent, "main"); /* the agent's, not this one */
    initOTAlib();                                /* the runtime paths, first of all */
    /* Your configuration manager's socket, "cfgmgr_socket" in the platform's tmp directory. The
     * agent looks every 2 s, without limit, whether it is there; any file of that name will do. */
    printf("waiting for %s\n", getCfgmgrSocketPath());
    fflush(stdout);
    agentMain();
    otaSwAgentSWCommitStatus(); /* once after a boot: did the last upgrade take? */
    otaSwmgnt_process_newimage_info(kOffer, NULL, &config); /* until it is written; minutes */
    runTimers();                                            /* an activation, or another attempt */
    return ota_ISUpgradeDefered(); /* 1: try again at the next poll or trigger */
}
