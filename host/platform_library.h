// SPDX-License-Identifier: MIT
// The platform's library, opened at run time, and the calls the host itself makes to it.
#ifndef HOST_PLATFORM_LIBRARY_H
#define HOST_PLATFORM_LIBRARY_H

#include "base/bank_note.h"
#include "base/config_findings.h"
#include "base/result.h"
#include "platform/nal.h"
#include "platform/service.h"

#include <string>

namespace host {

/* Of platform/nal.h, what the host calls or stands in front of. */
struct PlatformCalls {
    decltype(&::nal_getTmpDirectory) tmpDirectory = nullptr;
    decltype(&::nal_getLogsDirectory) logsDirectory = nullptr;
    decltype(&::nal_getCurSwVersion) runningVersion = nullptr;
    decltype(&::nal_getPrevSwVersion) otherVersion = nullptr;
    decltype(&::nal_writePassiveImage) writePassiveImage = nullptr;
    decltype(&::nal_activatePassiveImage) activatePassiveImage = nullptr;
    decltype(&::nalLogNotice) logNotice = nullptr;
    decltype(&::nalLogError) logError = nullptr;
};

/*
 * Opens the library, finds every function that the agent needs of it, and lets the platform open
 * itself with this configuration. Its functions are in sight of every library that is opened later.
 * An empty path: the one beside this program. Call it once; it stays open for the life of the
 * process. An error of the reason Reason::configWrong: another start mends nothing.
 */
base::Result<void> openPlatform(const std::string &path, const std::string &config);

/*
 * Opens the library as openPlatform does, and instead of the platform asks what it finds in the
 * configuration; nothing where it does not look.
 */
base::Result<base::ConfigFindings> checkPlatformsConfig(const std::string &path,
                                                        const std::string &config);

/* Nothing is null once the platform is open. */
const PlatformCalls &platformCalls();

/* Every member may be null. */
const OtaPlatformService &platformService();

/* True where the platform has all that a trial takes. */
bool hasTrials();

/* Calls a member of the table that answers 0 for success. Error: `missing`, where it is not there.
 */
template <typename... Parameters, typename... Arguments>
base::Result<void> ask(int (*member)(Parameters...), const char *missing, Arguments... arguments);

base::Error errorOf(const OtaFault &fault);

/* What the banks are now; checked, so that every number of a bank is one. */
base::Result<base::BankNews> bankNews();

/* The version in the bank that runs. */
std::string runningVersion(const OtaBankFacts &facts);

// ---- What follows is short ----

template <typename... Parameters, typename... Arguments>
base::Result<void> ask(int (*member)(Parameters...), const char *missing, Arguments... arguments) {
    if (member == nullptr) {
        return base::Error{missing};
    }
    OtaFault fault{};
    return member(arguments..., &fault) == 0 ? base::Result<void>() : errorOf(fault);
}

} // namespace host

#endif
