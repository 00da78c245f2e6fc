// SPDX-License-Identifier: MIT
#include "service/state/explain.h"

#include "platform/timers.h"
#include "service/state/agent_memory_text.h"
#include "service/state/deferral.h"
#include "service/state/trial_words.h"

#include <algorithm>
#include <array>

namespace service {
namespace {

using Sentences = std::vector<std::pair<std::string, std::string>>;

constexpr std::uint32_t kMinute = 60;
constexpr std::uint32_t kHour = 60 * kMinute;

std::string durationOf(std::uint32_t seconds) {
    if (seconds < 2 * kMinute) {
        return std::to_string(seconds) + " s";
    }
    if (seconds < kHour) {
        return std::to_string(seconds / kMinute) + " min";
    }
    return std::to_string(seconds / kHour) + " h " + std::to_string(seconds % kHour / kMinute) +
           " min";
}

// "03:30 (in 5 h 12 min)", on the node's local clock.
std::string moment(std::time_t now, std::uint32_t seconds) {
    const std::time_t then = now + static_cast<std::time_t>(seconds);
    std::tm local{};
    char clock[sizeof "hh:mm"]{};
    if (localtime_r(&then, &local) == nullptr ||
        std::strftime(clock, sizeof clock, "%H:%M", &local) == 0) {
        return "in " + durationOf(seconds);
    }
    return std::string(clock) + " (in " + durationOf(seconds) + ")";
}

// "Version 4QZ.. (ticket 3)", as the subject of a sentence.
std::string subject(const NodeStatus &status) {
    const std::string offer =
        status.version.empty() ? "The offered image" : "Version " + status.version;
    return status.ticket == 0 ? offer : offer + " (ticket " + std::to_string(status.ticket) + ")";
}

// The words behind the subject for each stage of a call; null: there is no such stage.
const char *workOf(const std::string &stage) {
    struct Row {
        const char *stage;
        const char *words;
    };
    static constexpr std::array kRows{
        Row{"verifying", "is downloaded; its checksum is being verified."},
        Row{"writing", "is being written to the passive bank."},
        Row{"activating", "is being activated: the passive bank is chosen for the next boot."},
        Row{"rebooting", "is activated; the node is about to reboot."},
        Row{"committing", "was activated; it is being checked that it runs."},
    };
    const auto *const row = std::find_if(kRows.begin(), kRows.end(),
                                         [&](const Row &one) { return stage == one.stage; });
    return row == kRows.end() ? nullptr : row->words;
}

std::string workOfNow(const NodeStatus &status, const Running &running) {
    if (status.stage == "downloading") {
        return subject(status) + " is being downloaded: " + std::to_string(status.percentage) +
               " %, " + std::to_string(status.downloadedBytes) + " bytes so far.";
    }
    if (const char *const words = workOf(status.stage)) {
        return subject(status) + " " + words;
    }
    return "The agent works on a request of the kind " + running.request.kind + ": " +
           subject(status) + ".";
}

// "ticket 3: the passive bank could not be written; ... (52 flashWriteFailed, not-signed)".
std::string endWords(const base::End &end) {
    const base::OutcomeRow *const row = base::rowOfCode(static_cast<int>(end.code));
    const std::string code = std::to_string(end.code) + " " + end.result;
    // Not only offers end well.
    const bool isDone = end.code == static_cast<std::uint32_t>(base::Outcome::done);
    const std::string meaning = isDone ? "it was done" : row == nullptr ? "" : row->meaning;
    return "ticket " + std::to_string(end.ticket) + ": " + meaning +
           (end.reason.empty() ? "" : ": " + end.reason) + " (" + code +
           (end.reasonCode.empty() || end.reasonCode == "none" ? "" : ", " + end.reasonCode) + ")";
}

std::string idleWords(const NodeStatus &status, const Ledger &ledger) {
    if (status.lastEnd.ticket != 0) {
        return "The node is idle; the last request ended: " + endWords(status.lastEnd) + ".";
    }
    return ledger.nextTicket > 1 ? "The node is idle: everything that was asked of it has ended."
                                 : "The node is idle: nothing was ever offered to it.";
}

std::string nowWords(const NodeStatus &status, const Ledger &ledger, const ExplainFacts &facts) {
    if (!facts.agentStarted) {
        return "Nothing can be done yet: the agent has not started.";
    }
    if (ledger.running) {
        return workOfNow(status, *ledger.running);
    }
    if (ledger.waiting && ledger.waiting->activated) {
        return subject(status) + " is activated; it runs after the next reboot.";
    }
    if (status.deferred) {
        return subject(status) + " is put off: " + whyPutOff(status) + ".";
    }
    if (!status.timers.empty() || ledger.waiting) {
        return subject(status) + " waits.";
    }
    return idleWords(status, ledger);
}

std::string timerWords(const TimerLeft &timer, const NodeStatus &status, const Ledger &ledger,
                       std::time_t now) {
    const std::string when = moment(now, timer.seconds);
    if (timer.name == TIMER_DOWNLOAD_START) {
        return subject(status) + " waits for the mobile app until " + when +
               "; without its trigger the download starts then.";
    }
    if (timer.name == TIMER_DOWNLOAD_RETRY) {
        return (status.waitReason.empty()
                    ? "The last download attempt failed; the next one starts"
                    : "The download waits for its next attempt, since " + status.waitReason + " (" +
                          status.waitReasonCode + "): it starts") +
               std::string(" at ") + when + ".";
    }
    if (timer.name != TIMER_REBOOT) {
        return "The timer " + timer.name + " runs out at " + when + ".";
    }
    const bool window =
        AgentMemoryText(ledger.memory).number(AgentMemoryText::kNoWindowBeforeSwap, 1) == 0;
    const std::string what = " is in the passive bank; it is activated at " + when;
    return subject(status) + what +
           (window ? ", unless the node is being onboarded then." : ", and the node reboots.");
}

// Nothing else has its turn before the boot.
void addReboot(const NodeStatus &status, Sentences &sentences) {
    if (status.stage == kRebootOverdue) {
        sentences.emplace_back("next", std::string("The reboot that was asked for has not come: ") +
                                           kRebootByHand + ".");
    }
}

void addWindow(const Ledger &ledger, Sentences &sentences) {
    if (ledger.running) {
        return; // the memory is the one of before
    }
    if (windowIsSpent(ledger)) {
        sentences.emplace_back(
            "window",
            "The half hour of an earlier offer ended with its trigger, and the agent still "
            "takes it for open: it passes every offer over. otactl cancel ends it, and a "
            "request that waits with it; so does a boot.");
    }
    if (AgentMemoryText(ledger.memory).number(AgentMemoryText::kTriggerTooLate, 0) != 0) {
        sentences.emplace_back(
            "window",
            "The half hour for the mobile app ran out: its trigger is passed over. An offer "
            "without --first-poll needs none and is downloaded at once.");
    }
}

void addNext(const NodeStatus &status, const Ledger &ledger, const ExplainFacts &facts,
             Sentences &sentences) {
    for (const TimerLeft &timer : status.timers) {
        sentences.emplace_back("next", timerWords(timer, status, ledger, facts.now));
    }
    if (status.deferred && !ledger.running) {
        sentences.emplace_back("next", "It is taken up " + whenTakenUp(status) + ".");
    }
}

void addAgent(const ExplainFacts &facts, Sentences &sentences) {
    if (!facts.waitsForPath.empty()) {
        sentences.emplace_back("agent", "The agent waits until " + facts.waitsForPath +
                                            " is there; start the configuration manager that "
                                            "makes it.");
    }
    if (facts.hostCrashes == 0) {
        return;
    }
    const base::ReasonRow &why = base::rowOf(facts.hostFailure.reason);
    const std::string crashed =
        "The host process crashed " + times(facts.hostCrashes) +
        (facts.hostCrashes == 1 ? "" : " in a row") +
        (facts.hostFailure.text.empty() ? ""
                                        : ": " + facts.hostFailure.text + " (" + why.name + ")");
    sentences.emplace_back("agent", facts.restartInSeconds > 0
                                        ? crashed + "; it is started again in " +
                                              std::to_string(facts.restartInSeconds) + " s."
                                        : crashed + " and was started again.");
}

void addQueue(const NodeStatus &status, const ExplainFacts &facts, Sentences &sentences) {
    if (facts.awaitsAddress) {
        sentences.emplace_back("queue", "The next request names the node by its address, and the "
                                        "bridge br0 has none: bring it up.");
    }
    if (status.queued > 0) {
        const std::string behind = status.stage == "rebooting" || status.stage == kRebootOverdue
                                       ? ", behind the reboot"
                                       : "";
        sentences.emplace_back("queue", status.queued == 1
                                            ? "One request waits for its turn" + behind + "."
                                            : std::to_string(status.queued) +
                                                  " requests wait for their turn" + behind + ".");
    }
}

void addRoads(const NodeStatus &status, const ExplainFacts &facts, Sentences &sentences) {
    if (!facts.busConnected) {
        sentences.emplace_back("bus", "The message bus is not connected: reports of the agent do "
                                      "not get out. It is tried again every second.");
    }
    if (facts.rootConfigured && !status.rootConnected) {
        sentences.emplace_back("root", "The broker of the root node is not connected: reports to "
                                       "the root fail until it is.");
    }
    if (facts.failedSaves > 0) {
        sentences.emplace_back("disk", "Requests could not be kept on disk " +
                                           times(facts.failedSaves) +
                                           "; make room in the state directory.");
    }
}

void addPast(const NodeStatus &status, const ExplainFacts &facts, Sentences &sentences) {
    if (!status.statusWord.empty()) {
        sentences.emplace_back("last",
                               "The last report of the agent is " + status.statusWord + ".");
    }
    if (!facts.lastRefusal.empty()) {
        sentences.emplace_back("last", "The last refused request: " + facts.lastRefusal);
    }
    if (!facts.plainHttpAllowed) {
        sentences.emplace_back("rules", "Offers with plain http are refused (allow_plain_http = no "
                                        "in [service]).");
    }
}

} // namespace

bool windowIsSpent(const Ledger &ledger) {
    const AgentMemoryText memory(ledger.memory);
    const bool beforeSwap = memory.number(AgentMemoryText::kNoWindowBeforeSwap, 1) == 0;
    const auto ends = [&](const std::string &timer) {
        return timer == TIMER_DOWNLOAD_START || (beforeSwap && timer == TIMER_REBOOT);
    };
    return memory.number(AgentMemoryText::kWindowOpen, 0) != 0 &&
           std::none_of(ledger.timers.begin(), ledger.timers.end(),
                        [&](const ArmedTimer &armed) { return ends(armed.name); }) &&
           std::none_of(ledger.queue.begin(), ledger.queue.end(), [&](const Request &request) {
               return request.kind == kTimer && ends(timerOf(request));
           });
}

Sentences explainNode(const NodeStatus &status, const Ledger &ledger, const ExplainFacts &facts) {
    Sentences sentences;
    sentences.emplace_back("now", nowWords(status, ledger, facts));
    addNext(status, ledger, facts, sentences);
    addReboot(status, sentences);
    addWindow(ledger, sentences);
    addTrial(status, facts, sentences);
    addAgent(facts, sentences);
    addQueue(status, facts, sentences);
    addRoads(status, facts, sentences);
    addPast(status, facts, sentences);
    return sentences;
}

} // namespace service
