// SPDX-License-Identifier: MIT
#include "tools/platform_check/platform.h"

#include "base/text.h"
#include "tools/platform_check/check.h"
#include "tools/platform_check/shared.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>

namespace check {
namespace {

template <typename Function>
void findIn(void *library, const char *name, Call<Function> &call) {
    call = {name, reinterpret_cast<Function>(dlsym(library, name))};
}

void banksChanged() { ++shared().banksChanged; }

void failed(const OtaFault *why) {
    ++shared().failures;
    shared().lastFailure = *why;
}

const char *offeredVersion() { return shared().offered.data(); }

void findHostCalls(Platform &platform) {
    void *const library = platform.library;
    findIn(library, "nal_setSwmgntFileServerInfo", platform.toGateway);
    findIn(library, "evbusSendSignal", platform.sendSignal);
    findIn(library, "nwa_sendNotificationToRoot", platform.toRoot);
    findIn(library, "startTimer", platform.startTimer);
    findIn(library, "stopTimer", platform.stopTimer);
    findIn(library, "otaPlatformService", platform.tableOf);
}

void nameMembers(Platform &platform, const OtaPlatformService &table) {
    platform.open = {"the table's open", table.open};
    platform.follow = {"the table's follow", table.follow};
    platform.bankFacts = {"the table's bankFacts", table.bankFacts};
    platform.bankCapacity = {"the table's bankCapacity", table.bankCapacity};
    platform.beginTrial = {"the table's beginTrial", table.beginTrial};
    platform.checkHealth = {"the table's checkHealth", table.checkHealth};
    platform.healthLimit = {"the table's healthLimit", table.healthLimit};
    platform.failTrial = {"the table's failTrial", table.failTrial};
    platform.mayReboot = {"the table's mayReboot", table.mayReboot};
    platform.passTrial = {"the table's passTrial", table.passTrial};
    platform.commit = {"the table's commit", table.commit};
    platform.forget = {"the table's forget", table.forget};
    platform.takeBack = {"the table's takeBack", table.takeBack};
    platform.giveUpPassive = {"the table's giveUpPassive", table.giveUpPassive};
}

} // namespace

Running::Running(const char *name) {
    std::snprintf(shared().call.data(), shared().call.size(), "%s", name);
}

Running::~Running() { shared().call[0] = '\0'; }

std::vector<std::string> Platform::missingOfTrials() const {
    std::vector<std::string> missing;
    const auto look = [&](const auto &call, const char *name) {
        if (!call) {
            missing.emplace_back(name);
        }
    };
    look(bankFacts, "bankFacts");
    look(beginTrial, "beginTrial");
    look(failTrial, "failTrial");
    look(mayReboot, "mayReboot");
    look(passTrial, "passTrial");
    look(commit, "commit");
    return missing;
}

std::vector<std::string> missingCalls(const Platform &platform) {
    std::vector<std::string> missing;
    const auto look = [&](const auto &call) {
        if (!call) {
            missing.emplace_back(call.name);
        }
    };
    look(platform.tmpDirectory);
    look(platform.configsDirectory);
    look(platform.logsDirectory);
    look(platform.caCertificate);
    look(platform.nodeInfo);
    look(platform.runningVersion);
    look(platform.otherVersion);
    look(platform.workMode);
    look(platform.workRole);
    look(platform.onboarding);
    look(platform.upgradeInfo);
    look(platform.write);
    look(platform.activate);
    look(platform.fallBack);
    if (platform.logNotice == nullptr) {
        missing.emplace_back("nalLogNotice");
    }
    if (platform.logError == nullptr) {
        missing.emplace_back("nalLogError");
    }
    return missing;
}

Platform loadPlatform(const std::string &path) {
    Platform platform;
    {
        const Running running("dlopen");
        platform.library = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
    }
    void *const library = platform.library;
    if (library == nullptr) {
        throw Wrong{std::string("it does not open: ") + dlerror()};
    }
    findIn(library, "nal_getTmpDirectory", platform.tmpDirectory);
    findIn(library, "nal_getConfigsDirectory", platform.configsDirectory);
    findIn(library, "nal_getLogsDirectory", platform.logsDirectory);
    findIn(library, "nal_getHIECertifcatePath", platform.caCertificate);
    findIn(library, "nal_getNodeInfo", platform.nodeInfo);
    findIn(library, "nal_getCurSwVersion", platform.runningVersion);
    findIn(library, "nal_getPrevSwVersion", platform.otherVersion);
    findIn(library, "nal_getWorkMode", platform.workMode);
    findIn(library, "nal_getWorkRole", platform.workRole);
    findIn(library, "nal_getRootOnBoardingStatus", platform.onboarding);
    findIn(library, "nal_getSwAutoUpgradeInfo", platform.upgradeInfo);
    findIn(library, "nal_writePassiveImage", platform.write);
    findIn(library, "nal_activatePassiveImage", platform.activate);
    findIn(library, "nal_fallBackToActiveImage", platform.fallBack);
    platform.logNotice =
        reinterpret_cast<decltype(&::nalLogNotice)>(dlsym(library, "nalLogNotice"));
    platform.logError = reinterpret_cast<decltype(&::nalLogError)>(dlsym(library, "nalLogError"));
    findHostCalls(platform);
    return platform;
}

// A platform of an earlier header has fewer members, one of a later header more.
void takeTable(Platform &platform) {
    platform.given = platform.tableOf ? platform.tableOf() : nullptr;
    OtaPlatformService table{};
    if (platform.given != nullptr) {
        const std::size_t size = platform.given->size;
        platform.sizeFits =
            size >= sizeof platform.given->size && size % alignof(OtaPlatformService) == 0;
        if (platform.sizeFits) {
            std::memcpy(&table, platform.given, std::min(size, sizeof table));
        }
    }
    nameMembers(platform, table);
}

void openPlatform(Platform &platform, const std::string &config) {
    static const OtaPlatformHooks hooks{sizeof(OtaPlatformHooks), banksChanged, failed,
                                        offeredVersion};
    takeTable(platform);
    OtaFault why{};
    const int answer = platform.open ? platform.open(config.c_str(), &why) : 0;
    if (answer != 0) {
        why.text[sizeof why.text - 1] = '\0';
        throw Wrong{"its table's open answered " + std::to_string(answer) + ": " +
                    base::printable(why.text)};
    }
    if (platform.follow) {
        platform.follow(&hooks);
    }
}

} // namespace check
