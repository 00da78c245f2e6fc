// SPDX-License-Identifier: MIT
// Answers what the agent asks of its node: bus, root, timers.
#include "host/daemon/host_calls.h"

#include "host/message.h"

#include <algorithm>
#include <array>

namespace otad {
namespace {

constexpr int kAccepted = 0;
constexpr int kFailed = -1;

} // namespace

void HostCalls::take(const cJSON &message) {
    const std::string note = host::textOf(&message, "note");
    const std::string call = host::textOf(&message, "call");
    if (cJSON_HasObjectItem(&message, "done") != 0) {
        conductor_.hostDone(message);
    } else if (!note.empty()) {
        takeNote(note, message);
    } else {
        takeCall(call, message);
    }
}

void HostCalls::takeNote(const std::string &note, const cJSON &message) {
    if (note == "stage") {
        conductor_.hostStage(host::textOf(&message, "stage"));
    } else if (note == "node") {
        conductor_.hostKnowsNode(host::textOf(&message, "mac"));
    } else if (note == "banks") {
        conductor_.hostToldBanks(message);
    } else if (note == "cause") {
        conductor_.hostTellsCause(message);
    } else if (note == "last-words") {
        conductor_.hostTellsLastWords(message);
    } else if (note == "waits-for") {
        conductor_.hostWaitsFor(host::textOf(&message, "path"), host::textOf(&message, "found"));
    } else if (note == "trial" || note == "trial-failed" || note == "committed" ||
               note == "not-committed") {
        conductor_.hostTellsTrial(note, message);
    } else {
        conductor_.hostIsWrong("the note \"" + note + "\" is not known");
    }
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
        return conductor_.hostIsWrong("the call \"" + call + "\" is not known");
    }
    (this->*row->handle)(message);
}

void HostCalls::raiseStatus(const cJSON &message) {
    const std::string record = host::textOf(&message, "data");
    conductor_.hostReported(host::textOf(host::parsed(record).get(), "status"), record);
    acknowledge(bus_.raiseStatus(record) ? kAccepted : kFailed);
}

void HostCalls::notifyRoot(const cJSON &message) {
    root_.publish(FromExtender::Kind::report, host::textOf(&message, "config"), answerOfRoot());
}

void HostCalls::handOver(const cJSON &message) {
    root_.publish(
        FromExtender::Kind::fileServer, host::textOf(&message, "info"),
        answerOfRoot([this](const host::Cause &failure) { conductor_.hostHandedOver(failure); }));
}

void HostCalls::keepActivation(const cJSON & /*message*/) {
    conductor_.hostActivated([this, life = conductor_.life()] {
        if (life == conductor_.life()) {
            acknowledge(kAccepted);
        }
    });
}

// The host may have ended by the time the root answers; another one did not ask.
RootLink::Published HostCalls::answerOfRoot(const RootLink::Published &also) {
    return [this, life = conductor_.life(), also](const host::Cause &failure) {
        if (life != conductor_.life()) {
            return;
        }
        if (also) {
            also(failure);
        }
        acknowledge(failure.reason == host::Reason::none ? kAccepted : kFailed);
    };
}

void HostCalls::startTimer(const cJSON &message) {
    const std::string name = host::textOf(&message, "name");
    const int seconds = host::numberOf(&message, "seconds");
    conductor_.timerStopped(name); // an older one of this name starts over
    const std::optional<int> length = conductor_.hostStartsTimer(name, seconds);
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
    const std::string name = host::textOf(&message, "name");
    const bool ran = timers_.stop(name);
    conductor_.timerStopped(name);
    conductor_.hostStopsTimer(name);
    if (ran) {
        tellTimer("timer-stopped", name);
    }
    acknowledge(kAccepted);
}

void HostCalls::acknowledge(int result) {
    const host::Json answer(cJSON_CreateObject());
    cJSON_AddNumberToObject(answer.get(), "ack", result);
    conductor_.host().send(answer.get());
}

void HostCalls::tellTimer(const char *event, const std::string &reason) {
    conductor_.timersChanged();
    HistoryLine line;
    line.event = event;
    line.reason = reason;
    chronicle_.tell(line);
}

} // namespace otad
