// SPDX-License-Identifier: MIT
#include "host/agent_library.h"

#include <dlfcn.h>

namespace host {
namespace {

class Symbols {
  public:
    explicit Symbols(void *library) : library_(library) {}

    /* A function or a variable. */
    template <typename Pointer>
    bool find(const char *name, Pointer &pointer) {
        pointer = reinterpret_cast<Pointer>(dlsym(library_, name));
        missing_ = pointer == nullptr ? name : "";
        return pointer != nullptr;
    }
    const std::string &missing() const { return missing_; }

  private:
    void *library_;
    std::string missing_;
};

bool findState(Symbols &symbols, AgentState &state) {
    return symbols.find("swInfo", state.swInfo) && symbols.find("swActTime", state.swActTime) &&
           symbols.find("otaLibConfig", state.otaLibConfig) &&
           symbols.find("g_rebootTime", state.rebootTime) &&
           symbols.find("g_dwldStartTimer", state.downloadStartTimer) &&
           symbols.find("g_dwldRetryTimer", state.downloadRetryTimer) &&
           symbols.find("g_mobileTriggerExpire", state.mobileTriggerExpired) &&
           symbols.find("g_mAppRebootTrig", state.rebootTimeBySignal) &&
           symbols.find("g_ISDeferedUpgrade", state.upgradeDeferred) &&
           symbols.find("g_firstTimeObardingWindowGivenPSNWBuildSame", state.noFirstTimeWindow) &&
           symbols.find("reboot_flag", state.rebootScheduled) &&
           symbols.find("encode_OtaMatrixItem_to_json", state.encodeItem) &&
           symbols.find("decode_OtaMatrixItem_from_json", state.decodeItem) &&
           symbols.find("encode_ActivationTime_to_json", state.encodeTime) &&
           symbols.find("decode_ActivationTime_from_json", state.decodeTime);
}

} // namespace

base::Result<AgentLibrary> openAgentLibrary(const std::string &path) {
    // A name without a slash would be searched in the system's directories.
    const std::string place = path.find('/') == std::string::npos ? "./" + path : path;
    void *const library = dlopen(place.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return base::Error{std::string("the library cannot be opened: ") + dlerror() +
                               "; give a libotaSwAgent.so for this machine with --library",
                           base::Reason::libraryUnusable};
    }
    Symbols symbols(library);
    AgentLibrary agent;
    const bool whole =
        symbols.find("initOTAlib", agent.initOTAlib) &&
        symbols.find("getCfgmgrSocketPath", agent.socketPath) &&
        symbols.find("getOtaActSuccessPath", agent.markPath) && symbols.find("main", agent.main) &&
        symbols.find("otaSwAgentSWCommitStatus", agent.checkCommit) &&
        symbols.find("otaSwmgnt_process_newimage_info", agent.processNewImage) &&
        symbols.find("otaMobileApp_process_newimage_request", agent.processMobileTrigger) &&
        symbols.find("otaSwmgnt_process_activation_time", agent.processActivationTime) &&
        symbols.find("otaSwAgentProcessRebootTimer", agent.rebootTimerExpired) &&
        symbols.find("otaSwAgentProcessDownloadStartTimer", agent.downloadStartTimerExpired) &&
        symbols.find("otaSwAgentProcessDownloadRetryTimer", agent.downloadRetryTimerExpired) &&
        symbols.find("ota_ISUpgradeDefered", agent.isUpgradeDeferred) &&
        symbols.find("sendUpgradeSignalToSwMgnt", agent.report) && findState(symbols, agent.state);
    if (!whole) {
        return base::Error{place + ": has no symbol " + symbols.missing() +
                               "; give a libotaSwAgent.so",
                           base::Reason::libraryUnusable};
    }
    return agent;
}

} // namespace host
