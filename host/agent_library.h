// SPDX-License-Identifier: MIT
// The agent's library, opened at run time, and the calls the host makes to it.
#ifndef HOST_AGENT_LIBRARY_H
#define HOST_AGENT_LIBRARY_H

#include "base/result.h"
#include "otaSwAgent/agent.h"

#include <cstdint>
#include <string>

namespace host {

/*
 * What the agent remembers from one call to the next and a later process can be given back: its own
 * variables, and the codec for the records among them. Read and write them between calls only.
 */
struct AgentState {
    decltype(&::swInfo) swInfo = nullptr;
    decltype(&::swActTime) swActTime = nullptr;
    decltype(&::otaLibConfig) otaLibConfig = nullptr;
    decltype(&::g_rebootTime) rebootTime = nullptr;
    std::uint8_t *downloadStartTimer = nullptr;
    std::uint8_t *downloadRetryTimer = nullptr;
    std::uint8_t *mobileTriggerExpired = nullptr;
    std::uint8_t *rebootTimeBySignal = nullptr;
    std::uint8_t *upgradeDeferred = nullptr;
    std::int32_t *noFirstTimeWindow = nullptr;
    std::int32_t *rebootScheduled = nullptr;
    decltype(&::encode_OtaMatrixItem_to_json) encodeItem = nullptr;
    decltype(&::decode_OtaMatrixItem_from_json) decodeItem = nullptr;
    decltype(&::encode_ActivationTime_to_json) encodeTime = nullptr;
    decltype(&::decode_ActivationTime_from_json) decodeTime = nullptr;
};

struct AgentLibrary {
    decltype(&::initOTAlib) initOTAlib = nullptr;
    decltype(&::getCfgmgrSocketPath) socketPath = nullptr;
    decltype(&::getOtaActSuccessPath) markPath = nullptr;
    int (*main)() = nullptr;
    decltype(&::otaSwAgentSWCommitStatus) checkCommit = nullptr;
    decltype(&::otaSwmgnt_process_newimage_info) processNewImage = nullptr;
    decltype(&::otaMobileApp_process_newimage_request) processMobileTrigger = nullptr;
    decltype(&::otaSwmgnt_process_activation_time) processActivationTime = nullptr;
    decltype(&::otaSwAgentProcessRebootTimer) rebootTimerExpired = nullptr;
    decltype(&::otaSwAgentProcessDownloadStartTimer) downloadStartTimerExpired = nullptr;
    decltype(&::otaSwAgentProcessDownloadRetryTimer) downloadRetryTimerExpired = nullptr;
    decltype(&::ota_ISUpgradeDefered) isUpgradeDeferred = nullptr;
    decltype(&::sendUpgradeSignalToSwMgnt) report = nullptr;
    AgentState state;
};

/* Finds every call and variable; the library stays open for the life of the process. */
base::Result<AgentLibrary> openAgentLibrary(const std::string &path);

} // namespace host

#endif
