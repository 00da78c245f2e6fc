// SPDX-License-Identifier: MIT
// The channel as the platform's calls use it: one question, one answer.
#include "host/supervisor_link.h"

#include "host/events.h"

#include <cstdio>
#include <cstdlib>

namespace host {
namespace {

Channel *supervisor = nullptr;

std::string nameOf(const Json &call) {
    const char *name = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(call.get(), "call"));
    return std::string("the call ") + (name == nullptr ? "" : name);
}

} // namespace

void setSupervisor(Channel *channel) { supervisor = channel; }

Json newCall(const char *name) {
    Json call(cJSON_CreateObject());
    if (cJSON_AddStringToObject(call.get(), "call", name) == nullptr) {
        endHost("no memory for a message to the supervisor");
    }
    return call;
}

int askSupervisor(const Json &call) {
    if (supervisor == nullptr) {
        endHost(nameOf(call) + " was made before the channel was open");
    }
    std::string whatIsWrong;
    Json answer;
    if (!supervisor->send(call.get(), whatIsWrong)) {
        endHost(nameOf(call) + " could not be sent to the supervisor: " + whatIsWrong);
    }
    const Channel::Status status = supervisor->receive(answer, whatIsWrong);
    if (status == Channel::Status::endOfFile) {
        endHost("the supervisor closed the channel before it answered " + nameOf(call));
    }
    if (status != Channel::Status::message) {
        endHost("the answer to " + nameOf(call) + " could not be read: " + whatIsWrong);
    }
    int result = 0;
    if (!takeInteger(answer.get(), "ack", result, whatIsWrong)) {
        endHost("the supervisor did not answer " + nameOf(call) +
                " with {\"ack\": number}: " + whatIsWrong);
    }
    return result;
}

void endHost(const std::string &whatIsWrong) {
    std::fprintf(stderr, "error: ota-host: %s\n", whatIsWrong.c_str());
    std::exit(1);
}

} // namespace host
