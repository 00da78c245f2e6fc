// SPDX-License-Identifier: MIT
#include "tools/platform_check/rounds.h"

#include <array>

namespace check {

void askAll(const Platform &platform) {
    std::array<char, NAL_UPGRADE_INFO_SIZE> record{};
    OtaBankFacts facts{};
    OtaFault why{};
    int status = 0;
    platform.tmpDirectory();
    platform.configsDirectory();
    platform.logsDirectory();
    platform.caCertificate();
    platform.nodeInfo(record.data());
    record.fill('\0');
    platform.upgradeInfo(record.data());
    platform.runningVersion(record.data());
    platform.otherVersion(record.data());
    platform.workMode(record.data());
    platform.workRole(record.data());
    platform.onboarding(&status);
    if (platform.bankFacts) {
        platform.bankFacts(&facts, &why);
    }
}

void askAndLog(const Platform &platform) {
    askAll(platform);
    const Running running("the logger");
    platform.logNotice("a_function", 1, "ota: [%s %s:%d] %s", "unit", "a_function", 1, "a line");
    platform.logError("a_function", 1, "ota: [%s %s:%d] %s", "unit", "a_function", 1, "a line");
}

} // namespace check
