// SPDX-License-Identifier: MIT
#include "service/job_runner.h"

#include "base/json.h"
#include "service/state/resume.h"

#include <utility>

namespace service {

JobRunner::JobRunner(const Dependencies &deps, HostProgram program,
                     std::function<void(const cJSON &message)> hostMessage)
    : context_(deps),
      host_(context_, std::move(program),
            {std::move(hostMessage), [this](const std::string &how) { hostEnded(how); },
             [this] { launchHost(); }}),
      trial_(context_), reboot_(context_), address_(context_, [this] { lookAgain(); }),
      deferred_(context_, [this] { becomeIdle(); }), series_(context_, host_),
      saves_(context_, [this] { saveAgain(); }),
      queue_(context_, address_, saves_, [this] { pump(); }),
      callStart_(context_, host_, saves_, deferred_, [this] { becomeIdle(); }),
      progress_(context_, trial_, reboot_), callEnd_(context_, series_, deferred_),
      cancellation_(context_, reboot_, [this] { host_.running() ? host_.kill() : hostEnded(""); }),
      commands_(context_, host_, trial_, cancellation_),
      startUp_(context_, {host_, trial_, reboot_, address_, deferred_},
               {[this](Running running) { callStart_.begin(std::move(running)); },
                [this] { becomeIdle(); }}) {}

void JobRunner::start() { launchHost(); }

bool JobRunner::agentStarted() const {
    return context_.state != JobState::off && context_.state != JobState::startingUp;
}

void JobRunner::launchHost() {
    const Ledger &ledger = context_.ledger();
    context_.state = JobState::startingUp;
    context_.observed = {};
    trial_.clear();
    if (ledger.bootId != context_.deps.bootId && (ledger.running || ledger.waiting)) {
        // What was activated before the boot is judged now.
        context_.deps.board.setStage("committing");
    }
    host_.start(hostOptions(ledger, context_.deps.bootId));
}

void JobRunner::hostEnded(const std::string &how) {
    const bool inTheCall = context_.state == JobState::busy;
    const bool renewed = host_.noteEnd() && how.empty();
    HostFailures &failures = host_.failures();
    context_.state = JobState::off;
    address_.stop();
    if (commands_.isRunning()) {
        commands_.finish(base::Error{"the host process ended over it; ask again once it runs"});
    }
    context_.deps.timers.restore({}); // the ledger has those that were armed before the call
    context_.deps.board.setStage("");
    if (cancellation_.awaitsEndOfHost()) {
        failures.countAnew();
        cancellation_.forgetRequest();
    } else if (!renewed) {
        failures.hostCrashed(how.empty() ? "it was ended because it could not be understood" : how,
                             inTheCall);
    }
    host_.startAgain();
    if (cancellation_.isUnderWay() && failures.crashes() > 0) {
        // The clean-up may never come: whoever asked must not wait for it.
        cancellation_.answer({});
    }
}

void JobRunner::hostDone(const cJSON &message) {
    const std::string what = base::textOf(&message, "done");
    const std::string failed = base::textOf(&message, "failed");
    base::Result<void> done;
    if (!failed.empty()) {
        done = base::Error{failed};
        logError("the host could not do all of \"" + what + "\": " + failed);
    }
    switch (context_.state) {
    case JobState::startingUp:
        return startUp_.takeUp(message, cancellation_.isUnderWay());
    case JobState::restoring:
        return startUp_.prepared(done);
    case JobState::abandoning:
        cancellation_.finish(done);
        return startUp_.abandoned();
    case JobState::commanding:
        context_.state = JobState::idle;
        commands_.finish(done);
        return becomeIdle();
    case JobState::busy:
        return callDone(message);
    case JobState::off:
    case JobState::idle:
    case JobState::keeping:
        break;
    }
    host_.isWrong("it reports the end of \"" + what + "\", which it was not asked for");
}

void JobRunner::callDone(const cJSON &message) {
    host_.failures().countAnew();
    context_.deps.eventLog.endStage();
    if (series_.reportEnd(message)) {
        return;
    }
    callEnd_.take(message);
    if (context_.observed.toldLastAttempt) {
        // The agent's own count would end the next series too early.
        context_.state = JobState::off;
        return host_.renew();
    }
    becomeIdle();
}

void JobRunner::becomeIdle() {
    context_.state = JobState::idle;
    context_.deps.board.setStage("");
    deferred_.takesMarkBack() ? startUp_.restoreMemory() : pump();
}

void JobRunner::pump() {
    if (context_.state != JobState::idle || cancellation_.isUnderWay() || context_.awaitsReboot()) {
        return;
    }
    if (auto next = queue_.takeNext()) {
        Running running;
        running.request = std::move(*next);
        running.starts = 1;
        callStart_.begin(std::move(running));
    }
}

// For the address that a request names.
void JobRunner::lookAgain() { context_.state == JobState::restoring ? startUp_.goOn() : pump(); }

void JobRunner::saveAgain() {
    if (context_.state == JobState::keeping) {
        return callStart_.keepAndSend();
    }
    context_.deps.book.save([this](const base::Result<void> &saved) {
        if (!saved) {
            saves_.failed(saved.error().text);
        } else {
            saves_.succeeded();
            pump();
        }
    });
}

} // namespace service
