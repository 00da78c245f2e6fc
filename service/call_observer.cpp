// SPDX-License-Identifier: MIT
#include "service/call_observer.h"

#include "otaSwAgent/status_words.h"

#include <array>

namespace service {

std::optional<base::Outcome> outcomeOfWord(const std::string &word) {
    struct Row {
        const char *word;
        base::Outcome outcome;
    };
    // "..._ACTIVATION_COMPLETE" and "..._SWAP_PASSIVE" are not here: what follows decides.
    static constexpr std::array kRows{
        Row{OTA_STATUS_NO_UPGRADE, base::Outcome::notNeeded},
        Row{OTA_STATUS_CRC_CHECK_FAILED, base::Outcome::checksumFailed},
        Row{OTA_STATUS_FLASH_WRITE_FAILED, base::Outcome::flashWriteFailed},
        Row{OTA_STATUS_ACTIVATION_FAILED, base::Outcome::activationFailed},
        Row{OTA_STATUS_RECONNECT, base::Outcome::downloadGaveUp},
        Row{OTA_STATUS_COMMIT_COMPLETE, base::Outcome::done},
        Row{OTA_STATUS_COMMIT_FAILED, base::Outcome::commitFailed},
    };
    for (const Row &row : kRows) {
        if (word == row.word) {
            return row.outcome;
        }
    }
    return std::nullopt;
}

base::Outcome outcomeOfCall(const CallObserver &observed) {
    if (const auto outcome = outcomeOfWord(observed.lastWord)) {
        return *outcome;
    }
    if (observed.handedOver) {
        return base::Outcome::handedOver;
    }
    if (observed.notHandedOver.reason != base::Reason::none) {
        return base::Outcome::rootUnreachable;
    }
    // A failed activation of policy 1 passes without a word; one of policy 3 goes on to a download.
    if (observed.activating && !observed.activated && observed.lastWord.empty()) {
        return base::Outcome::activationFailed;
    }
    // A swap that nothing is awaited of: the passive bank holds the image, as policy 2 wants it.
    const bool holds = observed.wrote || observed.lastWord == OTA_STATUS_SWAP_PASSIVE;
    return holds ? base::Outcome::writtenOnly : base::Outcome::interruptedNothingKnown;
}

std::string sentenceOfCall(const CallObserver &observed) {
    return observed.lastWord.empty() ? observed.notHandedOver.text : observed.lastWord;
}

namespace {

constexpr int kAttempts = 7; // in a row, and the agent gives up

// Of these a failure on the way does not matter any more.
bool isGood(base::Outcome outcome) {
    using base::Outcome;
    return outcome == Outcome::done || outcome == Outcome::notNeeded ||
           outcome == Outcome::handedOver || outcome == Outcome::writtenOnly;
}

} // namespace

std::string attemptWords(const base::Error &cause) {
    return cause.attempt == 0 ? cause.text
                              : "attempt " + std::to_string(cause.attempt) + " of " +
                                    std::to_string(kAttempts) + " failed: " + cause.text;
}

base::Error causeOfCall(const CallObserver &observed) {
    const base::Outcome outcome = outcomeOfCall(observed);
    if (outcome == base::Outcome::rootUnreachable) {
        return observed.notHandedOver;
    }
    if (isGood(outcome) || observed.cause.reason == base::Reason::none) {
        return {sentenceOfCall(observed), base::usualReason(outcome)};
    }
    return {attemptWords(observed.cause), observed.cause.reason};
}

bool endsTheRequest(const CallObserver &observed) {
    return !observed.activated && outcomeOfWord(observed.lastWord).has_value();
}

} // namespace service
