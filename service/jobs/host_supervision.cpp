// SPDX-License-Identifier: MIT
#include "service/jobs/host_supervision.h"

#include "base/timed.h"

#include <algorithm>

namespace service {
HostSupervision::HostSupervision(JobContext &context, HostProgram program, Callbacks callbacks)
    : context_(context), failures_(context), ended_(callbacks.ended),
      process_(context.deps.loop, std::move(program),
               {std::move(callbacks.message), std::move(callbacks.ended)}),
      restart_(context.deps.loop, std::move(callbacks.due)) {}

void HostSupervision::start(const std::vector<std::string> &options) {
    ++generation_;
    restartAtMs_ = 0;
    waitsForPath_.clear();
    failures_.begin();
    if (const auto started = process_.start(options); !started) {
        return ended_(started.error().text);
    }
    context_.events.record({.event = "host-started"});
}

void HostSupervision::startAgain() {
    const std::int64_t pause = failures_.msBeforeStart();
    restartAtMs_ = bootNowMs() + pause;
    restart_.setInMs(pause);
}

void HostSupervision::renew() {
    renewing_ = true;
    kill();
}

void HostSupervision::isWrong(const std::string &why) {
    kill();
    logError("the host process said what it should not: " + why + "; it is started anew");
}

bool HostSupervision::noteEnd() {
    ++generation_;
    failures_.hostEnded(context_.state == JobState::startingUp);
    return std::exchange(renewing_, false);
}

void HostSupervision::waitsFor(const std::string &path, const std::string &found) {
    waitsForPath_ = path;
    context_.deps.board.setStage("waiting");
    HistoryLine line;
    line.event = "agent-waits";
    line.outcome = base::Outcome::waiting;
    line.reason = "the agent waits until " + path + " is there";
    if (!found.empty()) {
        line.reasonCode = base::Reason::unsafePath;
        line.reason += "; what is there is not its socket: " + found;
    }
    line.next = "start the configuration manager that makes it";
    context_.events.record(line);
}

void HostSupervision::hasStarted() {
    waitsForPath_.clear();
    failures_.hostHasStarted();
}

int HostSupervision::restartInSeconds() const {
    return restart_.isSet()
               ? static_cast<int>(std::max<std::int64_t>(restartAtMs_ - bootNowMs(), 0) /
                                  base::kMsPerSecond)
               : -1;
}

} // namespace service
