// SPDX-License-Identifier: MIT
// What was seen of a call of the agent while it ran, and the outcome that follows.
#ifndef SERVICE_CALL_OBSERVER_H
#define SERVICE_CALL_OBSERVER_H

#include "base/result.h"

#include <optional>
#include <string>

namespace service {

struct CallObserver {
    std::string lastWord{};       // status word; empty: none came
    bool wrote = false;           // the passive bank was being written
    bool activating = false;      // an activation was tried
    bool activated = false;       // and succeeded: a reboot follows
    bool handedOver = false;      // to the gateway
    bool downloaded = false;      // an image, whole
    bool armedTimer = false;      // the agent started a timer
    bool retryStopped = false;    // the agent stopped its retry timer
    bool attemptFailed = false;   // a download
    bool lastAttempt = false;     // and it was the last that the agent makes
    bool toldLastAttempt = false; // which the host was asked to report
    bool windowWasSpent = false;  // before the call: of an earlier offer
    base::Error notHandedOver{};  // why it could not be; none: it was not tried, or was
    base::Error cause{};          // of what failed last
};

/* The outcome that a status word stands for; none where more follows it. */
std::optional<base::Outcome> outcomeOfWord(const std::string &word);

/* The outcome of an offer whose call is over while nothing is awaited any more. */
base::Outcome outcomeOfCall(const CallObserver &observed);

/* What there is to say about that outcome: the word, or what was wrong. */
std::string sentenceOfCall(const CallObserver &observed);
/* Why the call came to that outcome: its sentence is never empty unless nothing was said at all. */
base::Error causeOfCall(const CallObserver &observed);

/* "attempt 2 of 7 failed: the file server answered 404". */
std::string attemptWords(const base::Error &cause);

/* Whether the word alone ends the request, whatever timers run. */
bool endsTheRequest(const CallObserver &observed);

} // namespace service

#endif
