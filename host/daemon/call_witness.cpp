// SPDX-License-Identifier: MIT
// What was seen of a call of the agent while it ran, and the outcome that follows.
#include "host/daemon/call_witness.h"

#include "otaSwAgent/status_words.h"

#include <array>

namespace otad {

std::optional<host::Outcome> outcomeOfWord(const std::string &word) {
    struct Row {
        const char *word;
        host::Outcome outcome;
    };
    // "..._ACTIVATION_COMPLETE" and "..._SWAP_PASSIVE" are not here: what follows decides.
    static constexpr std::array kRows{
        Row{OTA_STATUS_NO_UPGRADE, host::Outcome::notNeeded},
        Row{OTA_STATUS_CRC_CHECK_FAILED, host::Outcome::checksumFailed},
        Row{OTA_STATUS_FLASH_WRITE_FAILED, host::Outcome::flashWriteFailed},
        Row{OTA_STATUS_ACTIVATION_FAILED, host::Outcome::activationFailed},
        Row{OTA_STATUS_RECONNECT, host::Outcome::downloadGaveUp},
        Row{OTA_STATUS_COMMIT_COMPLETE, host::Outcome::done},
        Row{OTA_STATUS_COMMIT_FAILED, host::Outcome::commitFailed},
    };
    for (const Row &row : kRows) {
        if (word == row.word) {
            return row.outcome;
        }
    }
    return std::nullopt;
}

host::Outcome outcomeOfCall(const CallWitness &witness) {
    if (const auto outcome = outcomeOfWord(witness.lastWord)) {
        return *outcome;
    }
    if (witness.handedOver) {
        return host::Outcome::handedOver;
    }
    if (witness.notHandedOver.reason != host::Reason::none) {
        return host::Outcome::rootUnreachable;
    }
    // A failed activation of policy 1 passes without a word; one of policy 3 goes on to a download.
    if (witness.activating && !witness.activated && witness.lastWord.empty()) {
        return host::Outcome::activationFailed;
    }
    // A swap that nothing is awaited of: the passive bank holds the image, as policy 2 wants it.
    const bool holds = witness.wrote || witness.lastWord == OTA_STATUS_SWAP_PASSIVE;
    return holds ? host::Outcome::writtenOnly : host::Outcome::interruptedNothingKnown;
}

std::string sentenceOfCall(const CallWitness &witness) {
    return witness.lastWord.empty() ? witness.notHandedOver.sentence : witness.lastWord;
}

namespace {

constexpr int kAttempts = 7; // in a row, and the agent gives up

// Of these a failure on the way does not matter any more.
bool isGood(host::Outcome outcome) {
    using host::Outcome;
    return outcome == Outcome::done || outcome == Outcome::notNeeded ||
           outcome == Outcome::handedOver || outcome == Outcome::writtenOnly;
}

} // namespace

std::string attemptWords(const host::Cause &cause) {
    return cause.attempt == 0 ? cause.sentence
                              : "attempt " + std::to_string(cause.attempt) + " of " +
                                    std::to_string(kAttempts) + " failed: " + cause.sentence;
}

host::Cause causeOfCall(const CallWitness &witness) {
    const host::Outcome outcome = outcomeOfCall(witness);
    if (outcome == host::Outcome::rootUnreachable) {
        return witness.notHandedOver;
    }
    if (isGood(outcome) || witness.cause.reason == host::Reason::none) {
        return {host::usualReason(outcome), sentenceOfCall(witness)};
    }
    return {witness.cause.reason, attemptWords(witness.cause)};
}

bool endsTheRequest(const CallWitness &witness) {
    return !witness.activated && outcomeOfWord(witness.lastWord).has_value();
}

} // namespace otad
