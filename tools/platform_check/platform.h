// SPDX-License-Identifier: MIT
// The platform as it is loaded in a process of its own: its functions, each called by name.
#ifndef TOOLS_PLATFORM_CHECK_PLATFORM_H
#define TOOLS_PLATFORM_CHECK_PLATFORM_H

#include "platform/evbus.h"
#include "platform/nal.h"
#include "platform/nwa.h"
#include "platform/service.h"
#include "platform/timers.h"

#include <string>
#include <vector>

namespace check {

/* A call that runs is named to the checking process, should it not come back. */
class Running {
  public:
    explicit Running(const char *name);
    ~Running();
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;
};

template <typename Function>
struct Call;

template <typename Answer, typename... Parameters>
struct Call<Answer (*)(Parameters...)> {
    const char *name = "";
    Answer (*function)(Parameters...) = nullptr;

    explicit operator bool() const { return function != nullptr; }
    Answer operator()(Parameters... parameters) const {
        const Running running(name);
        return function(parameters...);
    }
};

template <auto Function>
using CallOf = Call<decltype(Function)>;

struct Platform {
    void *library = nullptr;

    CallOf<&::nal_getTmpDirectory> tmpDirectory;
    CallOf<&::nal_getConfigsDirectory> configsDirectory;
    CallOf<&::nal_getLogsDirectory> logsDirectory;
    CallOf<&::nal_getHIECertifcatePath> caCertificate;
    CallOf<&::nal_getNodeInfo> nodeInfo;
    CallOf<&::nal_getCurSwVersion> runningVersion;
    CallOf<&::nal_getPrevSwVersion> otherVersion;
    CallOf<&::nal_getWorkMode> workMode;
    CallOf<&::nal_getWorkRole> workRole;
    CallOf<&::nal_getRootOnBoardingStatus> onboarding;
    CallOf<&::nal_getSwAutoUpgradeInfo> upgradeInfo;
    CallOf<&::nal_writePassiveImage> write;
    CallOf<&::nal_activatePassiveImage> activate;
    CallOf<&::nal_fallBackToActiveImage> fallBack;
    decltype(&::nalLogNotice) logNotice = nullptr;
    decltype(&::nalLogError) logError = nullptr;

    // The host's, unless the library has them too.
    CallOf<&::nal_setSwmgntFileServerInfo> toGateway;
    CallOf<&::evbusSendSignal> sendSignal;
    CallOf<&::nwa_sendNotificationToRoot> toRoot;
    CallOf<&::startTimer> startTimer;
    CallOf<&::stopTimer> stopTimer;
    CallOf<&::otaPlatformService> tableOf;

    // Of its table; null where that is not there.
    const OtaPlatformService *given = nullptr;
    Call<decltype(OtaPlatformService::open)> open;
    Call<decltype(OtaPlatformService::follow)> follow;
    Call<decltype(OtaPlatformService::bankFacts)> bankFacts;
    Call<decltype(OtaPlatformService::bankCapacity)> bankCapacity;
    Call<decltype(OtaPlatformService::beginTrial)> beginTrial;
    Call<decltype(OtaPlatformService::checkHealth)> checkHealth;
    Call<decltype(OtaPlatformService::healthLimit)> healthLimit;
    Call<decltype(OtaPlatformService::failTrial)> failTrial;
    Call<decltype(OtaPlatformService::mayReboot)> mayReboot;
    Call<decltype(OtaPlatformService::passTrial)> passTrial;
    Call<decltype(OtaPlatformService::commit)> commit;
    Call<decltype(OtaPlatformService::forget)> forget;
    Call<decltype(OtaPlatformService::takeBack)> takeBack;
    Call<decltype(OtaPlatformService::giveUpPassive)> giveUpPassive;

    bool sizeFits = true; // of the table
    /* The six members of trials that it has not. */
    std::vector<std::string> missingOfTrials() const;
    bool hasTrials() const { return given != nullptr && missingOfTrials().empty(); }
};

/* Names of the sixteen calls that it has not. */
std::vector<std::string> missingCalls(const Platform &platform);

/* Loads the library; throws Wrong where it does not open. */
Platform loadPlatform(const std::string &path);
/* Reads its table. */
void takeTable(Platform &platform);
/* What the host does before anything else; throws Wrong where the platform does not open. */
void openPlatform(Platform &platform, const std::string &config);

} // namespace check

#endif
