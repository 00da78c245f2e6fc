// SPDX-License-Identifier: MIT
#include "service/state/resume_fate.h"

#include <algorithm>
#include <vector>

namespace service {
namespace {

constexpr int kOnArrival = 3;

const FailedTrial *find(const std::string &version, const std::vector<FailedTrial> &failed) {
    const auto found = std::find_if(failed.begin(), failed.end(),
                                    [&](const FailedTrial &one) { return one.version == version; });
    return found == failed.end() ? nullptr : &*found;
}

// A call or a waiting offer, as far as an activation by it can be told.
struct Candidate {
    Holder holder;
    const Request &offer;
    const std::string &bank;
    bool activated;
    int failedTrials; // of the offer's version, before its first start
};

bool bankChanged(const Candidate &candidate, const BootFacts &facts) {
    return !candidate.bank.empty() && !facts.activeBank.empty() &&
           candidate.bank != facts.activeBank;
}

// A power cut may come between the activation and its note; then the image that runs tells. An
// activation on arrival takes whatever image there is.
bool explainsTheBank(const Candidate &candidate, const BootFacts &facts) {
    return candidate.activated || activatesOnArrival(candidate.offer) ||
           facts.runningVersion.empty() || facts.runningVersion == candidate.offer.version;
}

// One more failed trial than at the beginning tells of an activation that nobody noted, too.
bool failedSinceItsStart(const Candidate &candidate, const BootFacts &facts) {
    return failedTrialsOf(candidate.offer.version, facts.failedVersions) > candidate.failedTrials;
}

Fate fateOf(const Candidate &candidate, const BootFacts &facts, bool otherBoot) {
    if (bankChanged(candidate, facts)) {
        return explainsTheBank(candidate, facts) ? Fate::booted : Fate::untouched;
    }
    if (otherBoot && failedSinceItsStart(candidate, facts)) {
        return Fate::failedTrial;
    }
    if (!candidate.activated || !otherBoot) {
        return Fate::untouched;
    }
    return candidate.bank.empty() || facts.activeBank.empty() ? Fate::unknown : Fate::passedOver;
}

// What the call works for: itself, or the offer whose timer ran out or that the app triggered.
const Request &offerOf(const Running &running, const std::optional<WaitingOffer> &waiting) {
    return running.request.kind == kNewImage || !waiting ? running.request : waiting->offer;
}

std::vector<Candidate> candidatesOf(const std::optional<Running> &running,
                                    const std::optional<WaitingOffer> &waiting) {
    std::vector<Candidate> candidates;
    // A new activation time activates nothing.
    if (running && running->request.kind != kActivationTime) {
        const bool ofTheWaitingOffer = running->request.kind != kNewImage && waiting;
        candidates.push_back({Holder::running, offerOf(*running, waiting), running->bank,
                              running->activated,
                              ofTheWaitingOffer ? waiting->failedTrials : running->failedTrials});
    }
    if (waiting) {
        candidates.push_back({Holder::waiting, waiting->offer, waiting->bank, waiting->activated,
                              waiting->failedTrials});
    }
    return candidates;
}

} // namespace

int failedTrialsOf(const std::string &version, const std::vector<FailedTrial> &failedVersions) {
    const FailedTrial *const found = find(version, failedVersions);
    return found == nullptr ? 0 : static_cast<int>(found->trials);
}

bool activatesOnArrival(const Request &request) {
    return request.kind == kNewImage && request.policy == kOnArrival;
}

std::vector<Awaited> awaitedCommits(const std::optional<Running> &running,
                                    const std::optional<WaitingOffer> &waiting) {
    std::vector<Awaited> awaited;
    for (const Candidate &candidate : candidatesOf(running, waiting)) {
        if (!candidate.bank.empty() && !candidate.offer.version.empty() &&
            !activatesOnArrival(candidate.offer)) {
            awaited.push_back({candidate.bank, candidate.offer.version});
        }
    }
    return awaited;
}

Subject findSubject(const std::optional<Running> &running,
                    const std::optional<WaitingOffer> &waiting, const BootFacts &facts,
                    bool otherBoot) {
    const std::vector<Candidate> candidates = candidatesOf(running, waiting);
    Subject subject;
    // What was noted as activated goes before what only may have been.
    for (const bool noted : {true, false}) {
        for (const Candidate &candidate : candidates) {
            const Fate fate = fateOf(candidate, facts, otherBoot);
            if (candidate.activated == noted && fate != Fate::untouched) {
                return {fate, candidate.holder, candidate.offer, false};
            }
            subject.otherwiseBooted = subject.otherwiseBooted || bankChanged(candidate, facts);
        }
    }
    return subject;
}

base::Outcome outcomeWithoutWord(const Subject &subject, const BootFacts &facts) {
    const bool isComparable = !activatesOnArrival(subject.offer) && !facts.runningVersion.empty();
    switch (subject.fate) {
    case Fate::booted:
        // The word may have gone out before the power cut that hid it: the bank that runs tells.
        return !isComparable                                   ? base::Outcome::activated
               : facts.runningVersion == subject.offer.version ? base::Outcome::done
                                                               : base::Outcome::commitFailed;
    case Fate::passedOver:
    case Fate::failedTrial:
        return base::Outcome::commitFailed;
    case Fate::unknown:
    case Fate::untouched:
        break;
    }
    return base::Outcome::interruptedNothingKnown;
}

base::Reason causeOfFate(const Subject &subject, const BootFacts &facts) {
    switch (subject.fate) {
    case Fate::booted:
        return base::Reason::otherVersionRuns;
    case Fate::passedOver:
        return base::Reason::passedOver;
    case Fate::failedTrial:
        return find(subject.offer.version, facts.failedVersions)->reason == "health"
                   ? base::Reason::healthFailed
                   : base::Reason::bootAttemptsSpent;
    case Fate::unknown:
    case Fate::untouched:
        break;
    }
    return base::Reason::noWord;
}

std::string reasonWithoutWord(const Subject &subject, const BootFacts &facts) {
    const std::string version =
        facts.runningVersion.empty() ? "an unknown version" : facts.runningVersion;
    switch (subject.fate) {
    case Fate::booted:
        return "bank " + facts.activeBank + " was activated and booted with " + version;
    case Fate::passedOver:
        return "bank " + facts.activeBank + " with " + version +
               " runs as before: the boot loader passed the activated bank over";
    case Fate::failedTrial:
        return subject.offer.version + " failed its trial (" +
               find(subject.offer.version, facts.failedVersions)->reason + "): bank " +
               facts.activeBank + " with " + version + " runs again";
    case Fate::unknown:
    case Fate::untouched:
        break;
    }
    return "it was activated and the node booted since, but the boot state cannot tell the bank";
}

} // namespace service
