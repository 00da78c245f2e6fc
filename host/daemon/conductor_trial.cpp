// SPDX-License-Identifier: MIT
// What the host tells of a bank on trial, and what operators decide about it.
#include "host/daemon/conductor.h"

#include "host/daemon/keep/trial_words.h"
#include "host/message.h"

#include <utility>

namespace otad {

void Conductor::hostTellsTrial(const std::string &note, const cJSON &message) {
    const bool health = trial_.step == TrialNow::Step::checking;
    HistoryLine line;
    line.event = note;
    line.version = host::textOf(&message, "version");
    line.reason = host::textOf(&message, "reason");
    if (note == "trial") {
        trial_ = {TrialNow::Step::checking, ""};
        line.reason = "bank " + host::textOf(&message, "bank") + ", boot attempts left: " +
                      std::to_string(host::numberOf(&message, "attempts"));
        line.next = "the health command, then the agent's commit check";
    } else if (note == "trial-failed") {
        trial_ = {TrialNow::Step::unhealthy, line.reason};
        line.outcome = host::Outcome::commitFailed;
        const FailedTrial *const failed = failedTrial(with_.board.lastStatus(), line.version);
        line.reasonCode = health || (failed != nullptr && failed->reason == "health")
                              ? host::Reason::healthFailed
                              : host::Reason::bootAttemptsSpent;
        line.next = host::rowOf(line.reasonCode).remedy;
    } else if (note == "not-committed") {
        trial_ = {TrialNow::Step::notStored, line.reason};
        line.outcome = host::Outcome::failed;
        line.reasonCode = host::Reason::commitNotStored;
        line.next = "otactl commit tries again";
    } else {
        trial_ = {};
        line.reason = "bank " + host::textOf(&message, "bank");
    }
    with_.chronicle.tell(line);
}

void Conductor::commit(Answer answer) {
    begin(Chore{host::message({{"event", "commit"}}), lineOfRunningBank("committed"),
                std::move(answer)});
}

void Conductor::forget(const std::string &version, Answer answer) {
    HistoryLine line;
    line.event = "forgotten";
    line.version = version;
    line.reason = "it may be offered again";
    begin(Chore{host::message({{"event", "forget"}, {"version", version}}), std::move(line),
                std::move(answer)});
}

HistoryLine Conductor::lineOfRunningBank(const std::string &event) const {
    HistoryLine line;
    line.event = event;
    line.version = with_.board.runningVersion();
    line.reason = "bank " + with_.board.activeBank() + ", by an operator";
    return line;
}

std::string Conductor::whyBusy() const {
    const std::uint64_t ticket = with_.board.lastStatus().ticket;
    switch (state_) {
    case State::keeping:
    case State::busy:
        return ticket == 0 ? "the agent is busy"
                           : "the agent is busy with ticket " + std::to_string(ticket);
    case State::choring:
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

std::string Conductor::whyNotStarted() const {
    return cannotStart_ ? "the agent cannot start: " + hostFailure_.sentence + " (" +
                              host::rowOf(hostFailure_.reason).name + ")"
                        : "the agent is starting";
}

// A chore waits for nothing: an operator would rather ask again than find it done hours later.
void Conductor::begin(Chore chore) {
    if (state_ != State::idle || cancelling_) {
        const auto busy = host::guard::Refusal{host::Outcome::notReady, "node", whyBusy()};
        return chore.answer(&busy, 0);
    }
    state_ = State::choring;
    host_.send(chore.event.get());
    chore_ = std::move(chore);
}

void Conductor::choreDone(const std::string &failed) {
    const Chore chore = std::exchange(chore_, std::nullopt).value();
    if (!failed.empty()) {
        const auto refusal = host::guard::Refusal{host::Outcome::failed, "node", failed};
        return chore.answer(&refusal, 0);
    }
    if (chore.done.event == "forgotten") {
        forgetBaselines(chore.done.version);
    } else {
        trial_ = {};
        with_.book.save(); // the commit check may have had its say
    }
    with_.chronicle.tell(chore.done);
    chore.answer(nullptr, 0);
}

// The node counts its failed trials from nothing again.
void Conductor::forgetBaselines(const std::string &version) {
    std::optional<Standing> &standing = ledger().standing;
    if (standing && standing->offer.version == version && standing->failedTrials != 0) {
        standing->failedTrials = 0;
        with_.book.save();
    }
}

} // namespace otad
