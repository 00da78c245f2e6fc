// SPDX-License-Identifier: MIT
#include "service/state/trial_words.h"

#include <algorithm>

namespace service {
namespace {

using Step = TrialNow::Step;

constexpr const char *kNoTrials =
    "The platform of this node has no trials: what was activated is not watched, and no health "
    "command is run; only the agent's commit check tells of it.";

const BankView *otherBank(const NodeStatus &status) {
    const auto found = std::find_if(status.banks.begin(), status.banks.end(),
                                    [](const BankView &bank) { return !bank.running; });
    return found == status.banks.end() ? nullptr : &*found;
}

bool isOnTrial(const NodeStatus &status, const BankView *bank) {
    const BankTrial *const trial = bank == nullptr ? nullptr : trialOf(status, bank->name);
    return trial != nullptr && trial->trial;
}

std::string attempts(const BankTrial &trial) {
    return std::to_string(trial.attempts) +
           (trial.attempts == 1 ? " boot attempt" : " boot attempts");
}

std::string capital(std::string text) {
    text.front() = static_cast<char>(text.front() - 'a' + 'A');
    return text;
}

// What the trial of the running bank waits for.
std::string awaited(const ExplainFacts &facts) {
    switch (facts.trial.step) {
    case Step::checking:
        return "its health command runs, at most " + std::to_string(facts.healthLimitSeconds) +
               " s.";
    case Step::unhealthy:
        return "its health check failed: " + facts.trial.reason + ".";
    case Step::notStored:
        return "it could not be marked good: " + facts.trial.reason +
               "; otactl commit tries again.";
    case Step::passed:
    case Step::rebooting:
    case Step::none:
        break;
    }
    return facts.agentStarted
               ? "nothing marks it good before the next boot; otactl commit does it now."
               : "it is marked good once the agent has started and checked the commit.";
}

std::string wordsOfRunning(const BankView &running, const BankTrial &trial, const BankView *other,
                           const ExplainFacts &facts) {
    std::string words = capital(namedBank(running)) + " runs on trial, " + attempts(trial) +
                        " left: " + awaited(facts);
    if (trial.attempts == 0 && other != nullptr) {
        words += " Without that the next boot takes " + namedBank(*other) + ".";
    }
    return words;
}

std::string wordsOfFailed(const FailedTrial &failed, const ExplainFacts &facts) {
    const std::string words = failed.version + " failed its trial " +
                              times(static_cast<int>(failed.trials)) + ", " +
                              failureWords(failed.reason);
    if (failed.refused) {
        return words + ": offers of it are refused; otactl forget " + failed.version +
               " lets it in again.";
    }
    return words + (facts.refuseAfterTrials == 0
                        ? ": it may be offered again."
                        : ": it may be offered again, and is refused after " +
                              std::to_string(facts.refuseAfterTrials) + " failed trials.");
}

// The old one, since the other one failed.
std::string wordsOfOldBank(const BankView &running, const BankView &other,
                           const BankTrial &failed) {
    return capital(namedBank(running)) + " runs, since " + namedBank(other) +
           " failed its trial: " + failureWords(failed.lastFailure) + ".";
}

void addBanks(const NodeStatus &status, const ExplainFacts &facts,
              std::vector<std::pair<std::string, std::string>> &sentences) {
    const BankView *const running = runningBank(status);
    const BankView *const other = otherBank(status);
    if (running == nullptr || other == nullptr) {
        return;
    }
    const BankTrial *const trial = trialOf(status, running->name);
    const BankTrial *const others = trialOf(status, other->name);
    if (trial != nullptr && trial->trial) {
        sentences.emplace_back("trial", wordsOfRunning(*running, *trial, other, facts));
    } else if (facts.trial.step == Step::rebooting) {
        sentences.emplace_back("trial", capital(namedBank(*running)) +
                                            " failed its trial and the node reboots into " +
                                            namedBank(*other) + ".");
    }
    if (others == nullptr) {
        return;
    }
    if (others->trial && others->attempts == 0) {
        sentences.emplace_back("trial", capital(namedBank(*running)) + " runs, since " +
                                            namedBank(*other) +
                                            " used up its boot attempts; its trial is being "
                                            "settled.");
    } else if (others->trial) {
        sentences.emplace_back("trial", capital(namedBank(*other)) +
                                            " is activated and has not booted yet: the next boot "
                                            "puts it on trial, with " +
                                            attempts(*others) + ".");
    } else if (others->failedTrials > 0 && facts.trial.step != Step::rebooting) {
        sentences.emplace_back("trial", wordsOfOldBank(*running, *other, *others));
    }
}

} // namespace

std::string times(int count) { return count == 1 ? "once" : std::to_string(count) + " times"; }

std::string failureWords(const std::string &reason) {
    return reason == "health" ? "its health check failed" : "its boot attempts were used up";
}

std::string namedBank(const BankView &bank) {
    return "bank " + bank.name + (bank.version.empty() ? "" : " (" + bank.version + ")");
}

const BankView *runningBank(const NodeStatus &status) {
    const auto found = std::find_if(status.banks.begin(), status.banks.end(),
                                    [](const BankView &bank) { return bank.running; });
    return found == status.banks.end() ? nullptr : &*found;
}

const BankTrial *trialOf(const NodeStatus &status, const std::string &bank) {
    const auto found = std::find_if(status.bankTrials.begin(), status.bankTrials.end(),
                                    [&](const BankTrial &one) { return one.bank == bank; });
    return found == status.bankTrials.end() ? nullptr : &*found;
}

const FailedTrial *failedTrial(const NodeStatus &status, const std::string &version) {
    const auto found = std::find_if(status.failedVersions.begin(), status.failedVersions.end(),
                                    [&](const FailedTrial &one) { return one.version == version; });
    return found == status.failedVersions.end() ? nullptr : &*found;
}

void addTrial(const NodeStatus &status, const ExplainFacts &facts,
              std::vector<std::pair<std::string, std::string>> &sentences) {
    if (!status.trialSupported) {
        sentences.emplace_back("trial", kNoTrials);
        return;
    }
    addBanks(status, facts, sentences);
    for (const FailedTrial &failed : status.failedVersions) {
        sentences.emplace_back("trial", wordsOfFailed(failed, facts));
    }
}

std::string whyNothingToCommit(const NodeStatus &status) {
    if (!status.trialSupported) {
        return "the platform of this node has no trials, and marks no bank good";
    }
    const BankView *const running = runningBank(status);
    const BankView *const other = otherBank(status);
    if (running == nullptr || other == nullptr || isOnTrial(status, running)) {
        return "";
    }
    if (isOnTrial(status, other)) {
        return namedBank(*running) + " runs; " + namedBank(*other) +
               (trialOf(status, other->name)->attempts == 0
                    ? " used up its boot attempts"
                    : " is on trial and has not booted yet");
    }
    const FailedTrial *failed = failedTrial(status, running->version);
    if (failed != nullptr && !running->next) {
        return namedBank(*running) + " failed its trial: " + failed->reason + "; " +
               namedBank(*other) + " boots next";
    }
    failed = failedTrial(status, other->version);
    if (failed != nullptr) {
        return namedBank(*running) + " runs; " + namedBank(*other) +
               " failed its trial: " + failed->reason;
    }
    return namedBank(*running) + " is committed already";
}

} // namespace service
