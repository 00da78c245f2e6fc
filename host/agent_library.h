// SPDX-License-Identifier: MIT
// The agent's library, opened at run time, and the calls the host makes to it.
#ifndef HOST_AGENT_LIBRARY_H
#define HOST_AGENT_LIBRARY_H

#include "otaSwAgent/agent.h"

#include <string>

namespace host {

struct AgentLibrary {
    decltype(&::initOTAlib) initOTAlib = nullptr;
    decltype(&::getCfgmgrSocketPath) socketPath = nullptr;
    int (*main)() = nullptr;
    decltype(&::otaSwAgentSWCommitStatus) checkCommit = nullptr;
    decltype(&::otaSwmgnt_process_newimage_info) processNewImage = nullptr;
    decltype(&::otaMobileApp_process_newimage_request) processMobileTrigger = nullptr;
    decltype(&::otaSwmgnt_process_activation_time) processActivationTime = nullptr;
    decltype(&::otaSwAgentProcessRebootTimer) rebootTimerExpired = nullptr;
    decltype(&::otaSwAgentProcessDownloadStartTimer) downloadStartTimerExpired = nullptr;
    decltype(&::otaSwAgentProcessDownloadRetryTimer) downloadRetryTimerExpired = nullptr;
    decltype(&::ota_ISUpgradeDefered) isUpgradeDeferred = nullptr;
};

/*
 * Opens the library and finds every call; it stays open for the life of the process. False:
 * whatIsWrong is one line.
 */
bool openAgentLibrary(const std::string &path, AgentLibrary &agent, std::string &whatIsWrong);

} // namespace host

#endif
