// SPDX-License-Identifier: MIT
// What a start takes up of what was kept: nothing is lost, and no activation is done twice.
#ifndef SERVICE_STATE_RESUME_H
#define SERVICE_STATE_RESUME_H

#include "base/reason.h"
#include "guard/refusal.h"
#include "service/bus/node_status.h"
#include "service/state/ledger.h"

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace service {

/*
 * A call in which the host crashed this often is given up, and one that broke off this often for
 * whatever reason: power cuts are not its fault, but a node must not fall over it for ever.
 */
constexpr int kMaxCrashes = 3;
constexpr int kMaxStarts = 10;

/* The node as it is now. */
struct BootFacts {
    std::string bootId;
    std::string activeBank;       // that the node runs from; empty: unknown
    std::string runningVersion;   // empty: unknown
    std::int64_t bootNowMs = 0;   // CLOCK_BOOTTIME
    std::int64_t wallNow = 0;     // seconds; may be years off
    std::string passiveVersion{}; // of the whole image in the other bank; empty: there is none
    std::vector<FailedTrial> failedVersions{}; // that the node remembers
};

struct Finished {
    Request request;
    base::Outcome outcome = base::Outcome::failed;
    std::string reason;                      // one line
    base::Reason cause = base::Reason::none; // none: the one that the outcome has as a rule
};

/* In the order of use: start-up of the host, restore, timers, redo, queue. */
struct ResumePlan {
    bool commitCheck = false; // the host starts with it

    /*
     * The offer whose activation was booted, or passed over by the boot loader, or failed its
     * trial. Where awaitCommitWord is set the commit check's status word decides its outcome;
     * without a word by the end of start-up it is withoutWord, with its reason.
     */
    std::optional<Request> decided;
    bool awaitCommitWord = false;
    base::Outcome withoutWord = base::Outcome::failed;
    std::string withoutWordReason;
    base::Reason cause = base::Reason::none; // where the outcome is a failed commit
    std::string trialFailure;                // how its trial failed, one line; empty: it did not

    /* What ended without the host. Behind a hostCrashed the host is sent `abandon` before anything.
     */
    std::vector<Finished> finished;

    /* What may not reach the agent and is nobody's request. */
    std::vector<guard::Refusal> dropped;
    bool takeBack = false; // the host is sent `abandon`, as behind a hostCrashed

    std::string memory;             // to restore; empty: the agent stays as it starts
    int failedDownloads = 0;        // in a row, as the agent counts them from where it stays
    std::vector<ArmedTimer> timers; // with their ends on this boot's clock
    std::optional<Running> redo;    // its starts count this one
    bool beginAnew = false;         // behind the restore: what the redo has written is given up
    std::optional<WaitingOffer> waiting;
    std::list<Request> queue; // in place of the ledger's
};

/*
 * Pure. Two things are expected of the caller: timers that are due already are queued as any other,
 * and a timer that the agent stops or starts anew loses an expiry that waits in the queue. The
 * ledger may have been written by any earlier process of the node, at any moment.
 */
ResumePlan planResume(const Ledger &ledger, const BootFacts &facts);

/*
 * How the first host of a boot is started: with the commit check, and the activations that the
 * ledger awaits the commit of, whose mark the host must see to. Later ones go without both.
 */
std::vector<std::string> hostOptions(const Ledger &ledger, const std::string &bootId);

/*
 * The ledger as it is once the host has started up: to be written before the redo is sent, in one
 * piece, so that a start in between plans the same again.
 */
Ledger resumed(const Ledger &ledger, const ResumePlan &takeUp, const BootFacts &facts);

/*
 * Milliseconds until the timer runs out, 0 or more. Over a boot the wall clock counts; where it
 * went back behind the arming, all of the seconds. One for a time of day that was missed goes to
 * the next day's.
 */
std::int64_t remainingMs(const ArmedTimer &timer, bool sameBoot, const BootFacts &facts,
                         bool timeOfDay);

} // namespace service

#endif
