/* SPDX-License-Identifier: MIT */
/* A host in twenty lines. Linked with libotaSwAgent and the platform's own functions. */
#include <dlfcn.h>
#include <stddef.h>

#include "otaSwAgent/agent.h"

int main(void) {
    const OtaLibConfig config = {0, 1, 0}; /* no offload; not the first onboarding poll */
    void *agent = dlopen("libotaSwAgent.so", RTLD_NOW);
    int (*agentMain)(void) = NULL;

    if (agent == NULL) {
        return 1;
    }
    *(void **)&agentMain = dlsym(agent, "main"); /* the agent's, not this one */
    initOTAlib();                                /* the runtime paths, first of all */
    agentMain();                                 /* waits for the configuration manager */
    otaSwAgentSWCommitStatus();                  /* did the last upgrade take? */
    otaSwmgnt_process_newimage_info("{\"model\": \"GW-1\", \"nxtMSVersion\": \"4QZ-2.0\"}", NULL,
                                    &config);
    return ota_ISUpgradeDefered(); /* 1: try again at the next poll or trigger */
}
