// SPDX-License-Identifier: MIT
#include "service/host_calls.h"

#include "base/message.h"

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
    if (cJSON_HasObjectItem(&message, "done") != 0) {
        jobs_.hostDone(message);
    } else if (!note.empty()) {
        takeNote(note, message);
    } else {
        takeCall(call, message);
    }
}

void HostCalls::takeNote(const std::string &note, const cJSON &message) {
    if (note == "stage") {
        jobs_.hostStage(base::textOf(&message, "stage"));
    } else if (note == "node") {
        jobs_.hostKnowsNode(base::textOf(&message, "mac"));
    } else if (note == "banks") {
        jobs_.hostToldBanks(message);
    } else if (note == "cause") {
        jobs_.hostTellsCause(message);
    } else if (note == "last-words") {
        jobs_.hostTellsLastWords(message);
    } else if (note == "waits-for") {
        jobs_.hostWaitsFor(base::textOf(&message, "path"), base::textOf(&message, "found"));
    } else if (note == "trial" || note == "trial-failed" || note == "committed" ||
               note == "not-committed") {
        jobs_.hostTellsTrial(note, message);
    } else {
        jobs_.hostIsWrong("the note \"" + note + "\" is not known");
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
        return jobs_.hostIsWrong("the call \"" + call + "\" is not known");
    }
    (this->*row->handle)(message);
}

void HostCalls::raiseStatus(const cJSON &message) {
    const std::string record = base::textOf(&message, "data");
    jobs_.hostReported(base::textOf(base::parsed(record).get(), "status"), record);
    acknowledge(bus_.raiseStatus(record) ? kAccepted : kFailed);
}

void HostCalls::notifyRoot(const cJSON &message) {
    root_.publish(FromExtender::Kind::report, base::textOf(&message, "config"), answerOfRoot());
}

void HostCalls::handOver(const cJSON &message) {
    root_.publish(
        FromExtender::Kind::fileServer, base::textOf(&message, "info"),
        answerOfRoot([this](const base::Cause &failure) { jobs_.hostHandedOver(failure); }));
}

void HostCalls::keepActivation(const cJSON & /*message*/) {
    jobs_.hostActivated([this, hostGeneration = jobs_.hostGeneration()] {
        if (hostGeneration == jobs_.hostGeneration()) {
            acknowledge(kAccepted);
        }
    });
}

// The host may have ended by the time the root answers; another one did not ask.
RootLink::Published HostCalls::answerOfRoot(const RootLink::Published &also) {
    return [this, hostGeneration = jobs_.hostGeneration(), also](const base::Cause &failure) {
        if (hostGeneration != jobs_.hostGeneration()) {
            return;
        }
        if (also) {
            also(failure);
        }
        acknowledge(failure.reason == base::Reason::none ? kAccepted : kFailed);
    };
}

void HostCalls::startTimer(const cJSON &message) {
    const std::string name = base::textOf(&message, "name");
    const int seconds = base::numberOf(&message, "seconds");
    jobs_.timerStopped(name); // an older one of this name starts over
    const std::optional<int> length = jobs_.hostStartsTimer(name, seconds);
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
    jobs_.timerStopped(name);
    jobs_.hostStopsTimer(name);
    if (ran) {
        tellTimer("timer-stopped", name);
    }
    acknowledge(kAccepted);
}

void HostCalls::acknowledge(int result) {
    const base::Json answer(cJSON_CreateObject());
    cJSON_AddNumberToObject(answer.get(), "ack", result);
    jobs_.host().send(answer.get());
}

void HostCalls::tellTimer(const char *event, const std::string &reason) {
    jobs_.timersChanged();
    HistoryLine line;
    line.event = event;
    line.reason = reason;
    eventLog_.record(line);
}

} // namespace service
