// SPDX-License-Identifier: MIT
#include "service/jobs/operator_commands.h"

#include "base/json.h"

#include <utility>

namespace service {

void OperatorCommands::commit(Answer answer) {
    begin({base::message({{"event", "commit"}}),
           {.event = "committed",
            .version = context_.deps.board.runningVersion(),
            .reason = "bank " + context_.deps.board.activeBank() + ", by an operator"},
           std::move(answer)});
}

void OperatorCommands::forget(const std::string &version, Answer answer) {
    begin({base::message({{"event", "forget"}, {"version", version}}),
           {.event = "forgotten", .version = version, .reason = "it may be offered again"},
           std::move(answer)});
}

std::string OperatorCommands::whyBusy() const {
    const std::uint64_t ticket = context_.status().ticket;
    switch (context_.state) {
    case JobState::keeping:
    case JobState::busy:
        return ticket == 0 ? "the agent is busy"
                           : "the agent is busy with ticket " + std::to_string(ticket);
    case JobState::commanding:
        return "another operator's command is being carried out";
    case JobState::off:
    case JobState::startingUp:
    case JobState::restoring:
    case JobState::abandoning:
    case JobState::idle:
        break;
    }
    return host_.failures().whyNotStarted();
}

// A command waits for nothing: an operator would rather ask again than find it done hours later.
void OperatorCommands::begin(Command command) {
    if (context_.state != JobState::idle || cancellation_.isUnderWay()) {
        const auto busy = guard::Refusal{base::Outcome::notReady, "node", whyBusy()};
        return command.answer(&busy, 0);
    }
    context_.state = JobState::commanding;
    host_.send(command.event);
    running_ = std::move(command);
}

void OperatorCommands::finish(const base::Result<void> &done) {
    const Command command = std::exchange(running_, std::nullopt).value();
    if (!done) {
        const auto refusal = guard::Refusal{base::Outcome::failed, "node", done.error().text};
        return command.answer(&refusal, 0);
    }
    if (command.done.event == "forgotten") {
        forgetFailedTrials(command.done.version);
    } else {
        trial_.clear();
        context_.deps.book.save(); // the commit check may have had its say
    }
    context_.events.record(command.done);
    command.answer(nullptr, 0);
}

// The node counts the failed trials of the version from nothing again.
void OperatorCommands::forgetFailedTrials(const std::string &version) {
    std::optional<WaitingOffer> &waiting = context_.ledger().waiting;
    if (waiting && waiting->offer.version == version && waiting->failedTrials != 0) {
        waiting->failedTrials = 0;
        context_.deps.book.save();
    }
}

} // namespace service
