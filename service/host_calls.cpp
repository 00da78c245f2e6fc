// SPDX-License-Identifier: MIT
#include "service/host_calls.h"

#include "base/json.h"

#include <algorithm>
#include <array>

namespace service {
namespace {

constexpr int kAccepted = 0;
constexpr int kFailed = -1;

} // namespace

void HostCalls::take(const cJSON &message) {
    const std::string note = base::textOf(&message, "note");
    const std::string call = base::textOf(&message, "call");
    if (base::itemOf(&message, "done") != nullptr) {
        jobs_.hostDone(message);
    } else if (!note.empty()) {
        takeNote(note, message);
    } else {
        takeCall(call, message);
    }
}

void HostCalls::takeNote(const std::string &note, const cJSON &message) {
    if (note == "stage") {
        jobs_.progress().hostReaches(base::textOf(&message, "stage"));
    } else if (note == "node") {
        jobs_.host().failures().hostKnowsNode();
        board_.setHostMac(base::textOf(&message, "mac"));
        root_.follow();
    } else if (note == "banks") {
        jobs_.startUp().hostTellsBanks(message);
    } else if (note == "cause") {
        if (const auto cause = causeIn(message)) {
            jobs_.progress().hostTellsCause(*cause);
        }
    } else if (note == "last-words") {
        if (const auto cause = causeIn(message)) {
            jobs_.host().failures().hostTellsLastWords(*cause);
        }
    } else if (note == "waits-for") {
        jobs_.host().waitsFor(base::textOf(&message, "path"), base::textOf(&message, "found"));
    } else if (note == "trial" || note == "trial-failed" || note == "committed" ||
               note == "not-committed") {
        jobs_.trial().hostTells(note, message);
    } else {
        jobs_.host().isWrong("the note \"" + note + "\" is not known");
    }
}

std::optional<base::Error> HostCalls::causeIn(const cJSON &message) {
    const base::ReasonRow *const row = base::rowOfReason(base::textOf(&message, "reason"));
    if (row == nullptr) {
        jobs_.host().isWrong("it names a reason that is not known");
        return std::nullopt;
    }
    return base::Error{base::textOf(&message, "text"), row->reason,
                       base::numberOf(&message, "attempt")};
}

void HostCalls::takeCall(const std::string &call, const cJSON &message) {
    struct Row {
        const char *call;
        void (HostCalls::*handle)(const cJSON &);
    };
    static constexpr std::array kRows{
        Row{"signal", &HostCalls::raiseStatus},      Row{"notifyRoot", &HostCalls::notifyRoot},
        Row{"fileServerInfo", &HostCalls::handOver}, Row{"startTimer", &HostCalls::startTimer},
        Row{"stopTimer", &HostCalls::stopTimer},     Row{"activated", &HostCalls::keepActivation},
    };
    const auto *const row =
        std::find_if(kRows.begin(), kRows.end(), [&](const Row &one) { return call == one.call; });
    if (row == kRows.end()) {
        return jobs_.host().isWrong("the call \"" + call + "\" is not known");
    }
    (this->*row->handle)(message);
}

void HostCalls::raiseStatus(const cJSON &message) {
    const std::string record = base::textOf(&message, "data");
    jobs_.progress().hostReports(base::textOf(base::parsed(record).get(), "status"), record);
    acknowledge(bus_.raiseStatus(record) ? kAccepted : kFailed);
}

void HostCalls::notifyRoot(const cJSON &message) {
    root_.publish(FromExtender::Kind::report, base::textOf(&message, "config"), answerOfRoot());
}

void HostCalls::handOver(const cJSON &message) {
    root_.publish(FromExtender::Kind::fileServer, base::textOf(&message, "info"),
                  answerOfRoot([this](const base::Result<void> &handed) {
                      jobs_.progress().hostHandedOver(handed);
                  }));
}

void HostCalls::keepActivation(const cJSON & /*message*/) {
    jobs_.progress().hostActivated([this, hostGeneration = jobs_.host().generation()] {
        if (hostGeneration == jobs_.host().generation()) {
            acknowledge(kAccepted);
        }
    });
}

// The host may have ended by the time the root answers; another one did not ask.
RootLink::Published HostCalls::answerOfRoot(const RootLink::Published &also) {
    return [this, hostGeneration = jobs_.host().generation(),
            also](const base::Result<void> &answered) {
        if (hostGeneration != jobs_.host().generation()) {
            return;
        }
        if (also) {
            also(answered);
        }
        acknowledge(answered ? kAccepted : kFailed);
    };
}

void HostCalls::startTimer(const cJSON &message) {
    const std::string name = base::textOf(&message, "name");
    const int seconds = base::numberOf(&message, "seconds");
    jobs_.queue().timerStopped(name); // an older one of this name starts over
    const std::optional<int> length = jobs_.series().hostStartsTimer(name, seconds);
    if (length) {
        timers_.start(name, *length);
        tellTimer("timer-started",
                  name + " for " + std::to_string(*length) + " s" +
                      (*length == seconds
                           ? ""
                           : ", not the " + std::to_string(seconds) + " s of a first attempt"));
    }
    acknowledge(kAccepted);
}

void HostCalls::stopTimer(const cJSON &message) {
    const std::string name = base::textOf(&message, "name");
    const bool ran = timers_.stop(name);
    jobs_.queue().timerStopped(name);
    jobs_.series().hostStopsTimer(name);
    if (ran) {
        tellTimer("timer-stopped", name);
    }
    acknowledge(kAccepted);
}

void HostCalls::acknowledge(int result) {
    const base::Json answer = base::newObject();
    base::add(answer.get(), "ack", result);
    jobs_.host().send(answer);
}

void HostCalls::tellTimer(const char *event, const std::string &reason) {
    board_.refresh();
    eventLog_.record({.event = event, .reason = reason});
}

} // namespace service
