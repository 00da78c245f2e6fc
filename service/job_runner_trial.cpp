// SPDX-License-Identifier: MIT
// What the host tells of a bank on trial, and what operators decide about it.
#include "service/job_runner.h"

#include "base/message.h"
#include "service/state/trial_words.h"

#include <utility>

namespace service {

void JobRunner::hostTellsTrial(const std::string &note, const cJSON &message) {
    const bool health = trial_.step == TrialNow::Step::checking;
    HistoryLine line;
    line.event = note;
    line.version = base::textOf(&message, "version");
    line.reason = base::textOf(&message, "reason");
    if (note == "trial") {
        trial_ = {TrialNow::Step::checking, ""};
        line.reason = "bank " + base::textOf(&message, "bank") + ", boot attempts left: " +
                      std::to_string(base::numberOf(&message, "attempts"));
        line.next = "the health command, then the agent's commit check";
    } else if (note == "trial-failed") {
        trial_ = {TrialNow::Step::unhealthy, line.reason};
        line.outcome = base::Outcome::commitFailed;
        const FailedTrial *const failed = failedTrial(deps_.board.lastStatus(), line.version);
        line.reasonCode = health || (failed != nullptr && failed->reason == "health")
                              ? base::Reason::healthFailed
                              : base::Reason::bootAttemptsSpent;
        line.next = base::rowOf(line.reasonCode).remedy;
    } else if (note == "not-committed") {
        trial_ = {TrialNow::Step::notStored, line.reason};
        line.outcome = base::Outcome::failed;
        line.reasonCode = base::Reason::commitNotStored;
        line.next = "otactl commit tries again";
    } else {
        trial_ = {};
        line.reason = "bank " + base::textOf(&message, "bank");
    }
    deps_.eventLog.record(line);
}

void JobRunner::commit(Answer answer) {
    begin(OperatorCommand{base::message({{"event", "commit"}}), lineOfRunningBank("committed"),
                          std::move(answer)});
}

void JobRunner::forget(const std::string &version, Answer answer) {
    HistoryLine line;
    line.event = "forgotten";
    line.version = version;
    line.reason = "it may be offered again";
    begin(OperatorCommand{base::message({{"event", "forget"}, {"version", version}}),
                          std::move(line), std::move(answer)});
}

HistoryLine JobRunner::lineOfRunningBank(const std::string &event) const {
    HistoryLine line;
    line.event = event;
    line.version = deps_.board.runningVersion();
    line.reason = "bank " + deps_.board.activeBank() + ", by an operator";
    return line;
}

std::string JobRunner::whyBusy() const {
    const std::uint64_t ticket = deps_.board.lastStatus().ticket;
    switch (state_) {
    case State::keeping:
    case State::busy:
        return ticket == 0 ? "the agent is busy"
                           : "the agent is busy with ticket " + std::to_string(ticket);
    case State::commanding:
        return "another operator's command is being carried out";
    case State::off:
    case State::startingUp:
    case State::restoring:
    case State::abandoning:
    case State::idle:
        break;
    }
    return whyNotStarted();
}

std::string JobRunner::whyNotStarted() const {
    return cannotStart_ ? "the agent cannot start: " + hostFailure_.sentence + " (" +
                              base::rowOf(hostFailure_.reason).name + ")"
                        : "the agent is starting";
}

// A command waits for nothing: an operator would rather ask again than find it done hours later.
void JobRunner::begin(OperatorCommand command) {
    if (state_ != State::idle || cancelling_) {
        const auto busy = guard::Refusal{base::Outcome::notReady, "node", whyBusy()};
        return command.answer(&busy, 0);
    }
    state_ = State::commanding;
    host_.send(command.event.get());
    command_ = std::move(command);
}

void JobRunner::commandDone(const std::string &failed) {
    const OperatorCommand command = std::exchange(command_, std::nullopt).value();
    if (!failed.empty()) {
        const auto refusal = guard::Refusal{base::Outcome::failed, "node", failed};
        return command.answer(&refusal, 0);
    }
    if (command.done.event == "forgotten") {
        forgetBaselines(command.done.version);
    } else {
        trial_ = {};
        deps_.book.save(); // the commit check may have had its say
    }
    deps_.eventLog.record(command.done);
    command.answer(nullptr, 0);
}

// The node counts its failed trials from nothing again.
void JobRunner::forgetBaselines(const std::string &version) {
    std::optional<WaitingOffer> &standing = ledger().standing;
    if (standing && standing->offer.version == version && standing->failedTrials != 0) {
        standing->failedTrials = 0;
        deps_.book.save();
    }
}

} // namespace service
