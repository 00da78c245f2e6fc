// SPDX-License-Identifier: MIT
// Did a kept offer's activation boot? Judged by the bank that runs now.
#ifndef SERVICE_STATE_RESUME_FATE_H
#define SERVICE_STATE_RESUME_FATE_H

#include "service/state/resume.h"

#include <optional>
#include <string>

namespace service {

enum class Fate {
    untouched,   // no activation was booted: it may go on
    booted,      // the node runs from the bank that was activated
    passedOver,  // the node booted since, from the same bank
    failedTrial, // the bank booted or tried to, failed its trial, and the old one runs again
    unknown      // activated and booted since, but no one knows from which bank
};

enum class Holder { nobody, running, waiting };

/* What an activation belongs to. */
struct Subject {
    Fate fate = Fate::untouched;
    Holder holder = Holder::nobody;
    Request offer; // where there is a holder
    /* The node runs from another bank than before, but not because of what was kept. */
    bool otherwiseBooted = false;
};

/* An activation whose commit is to be reported, if it booted. */
struct Awaited {
    std::string bank; // that ran before it
    std::string version;
};

/* Those that the call, or the waiting offer, may have made; policy 3 reports no commit. */
std::vector<Awaited> awaitedCommits(const std::optional<Running> &running,
                                    const std::optional<WaitingOffer> &waiting);

/* How often a version failed its trial, of those that the node remembers. */
int failedTrialsOf(const std::string &version, const std::vector<FailedTrial> &failedVersions);

/* Policy 3: the passive bank is activated whatever it holds. */
bool activatesOnArrival(const Request &request);

Subject findSubject(const std::optional<Running> &running,
                    const std::optional<WaitingOffer> &waiting, const BootFacts &facts,
                    bool otherBoot);

/* Of a subject whose fate is not untouched, where the commit check says nothing. */
base::Outcome outcomeWithoutWord(const Subject &subject, const BootFacts &facts);
std::string reasonWithoutWord(const Subject &subject, const BootFacts &facts);
/* Why its commit failed, if it did. */
base::Reason causeOfFate(const Subject &subject, const BootFacts &facts);

} // namespace service

#endif
