// SPDX-License-Identifier: MIT
// What the node has taken over and not yet brought to an end, as it is kept on disk.
#ifndef SERVICE_STATE_LEDGER_H
#define SERVICE_STATE_LEDGER_H

#include "base/result.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

/* The kinds of requests; each is also the name of the channel's event. */
constexpr const char *kNewImage = "new-image";
constexpr const char *kMobileTrigger = "mobile-trigger";
constexpr const char *kActivationTime = "activation-time";
constexpr const char *kTimer = "timer";

struct Request {
    std::uint64_t ticket = 0; // 0: nobody waits for its end (a timer)
    std::string kind;         // one of the four above
    std::string event;        // the channel's event, JSON text
    std::string version;      // of a new image, else empty
    int policy = 0;           // of a new image, 0 to 3
    bool operator==(const Request &) const = default;
};

/* The timer whose expiry it is; empty: it is another request. */
std::string timerOf(const Request &request);

struct ArmedTimer {
    std::string name;
    int seconds = 0;            // as the agent asked for it; negative: due at once
    std::int64_t endBootMs = 0; // on CLOCK_BOOTTIME of the boot that it was written in
    std::int64_t armedAt = 0;   // wall clock, seconds, when the agent asked
    std::int64_t endsAt = 0;    // likewise
    bool operator==(const ArmedTimer &) const = default;
};

/* The call that the host works on. */
struct Running {
    Request request;
    int starts = 0;         // how often the call was started
    int crashes = 0;        // how often the host process ended in it, of itself
    std::string bank;       // that was running at its first start: "a" or "b", empty: unknown
    bool activated = false; // the other bank was chosen to boot next
    int failedTrials = 0;   // of the request's version, before its first start
    bool held = false;      // the passive bank held the version before its first start
    bool operator==(const Running &) const = default;
};

/* The offer whose call has ended and that waits: for a timer, the end of an onboarding, a boot. */
struct WaitingOffer {
    Request offer;
    std::string bank; // as in Running
    bool activated = false;
    bool deferred = false; // put off because of an onboarding
    int failedTrials = 0;  // as in Running
    bool operator==(const WaitingOffer &) const = default;
};

/*
 * While a call runs, timers and memory are those from before the call: they are what its redoing
 * needs. endBootMs belongs to the boot of bootId, so both are written in one go.
 */
struct Ledger {
    static constexpr std::size_t kMaxQueue = 64; // no more are taken up by a start
    static constexpr std::size_t kSpare = 16;    // room for timers that run out behind it
    static constexpr std::size_t kMaxTimers = 16;
    static constexpr int kMaxFailedDownloads = 7; // with the last one the agent gives up

    std::string bootId; // the last boot whose commit check ran
    std::uint64_t nextTicket = 1;
    std::list<Request> queue;
    std::optional<Running> running;
    std::optional<WaitingOffer> waiting;
    std::vector<ArmedTimer> timers;
    std::string memory;      // of the agent, JSON text of an object, or empty
    int failedDownloads = 0; // in a row; the agent's own count ends with its process
    bool rebootDue = false;  // a bank was activated in the boot of bootId, for whichever request
    std::string lastWord;
    std::string lastRecord;
    bool operator==(const Ledger &) const = default;
};

/* JSON text with a line end. */
std::string printLedger(const Ledger &ledger);

/*
 * Strict: every key once and no other (those that are left out where they say nothing: at most
 * once), every value of its type and within its bounds, whole numbers up to 2^53. An error names
 * the key; its reason tells a damaged ledger from one of a later release.
 */
base::Result<Ledger> parseLedger(std::string_view text);

} // namespace service

#endif
