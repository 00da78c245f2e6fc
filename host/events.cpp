// SPDX-License-Identifier: MIT
// The events of the channel and the calls of the agent that take them.
#include "host/events.h"

#include "platform/timers.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace host {
namespace {

// Reads what the event carries and calls the agent; false without a call where it cannot be read.
using Handle = bool (*)(const AgentLibrary &agent, const cJSON *event, std::string &whatIsWrong);

struct EventRow {
    const char *name;
    Handle handle;
};

struct TimerRow {
    const char *name;
    void (*AgentLibrary::*expired)();
};

const TimerRow kTimers[] = {
    {TIMER_REBOOT, &AgentLibrary::rebootTimerExpired},
    {TIMER_DOWNLOAD_START, &AgentLibrary::downloadStartTimerExpired},
    {TIMER_DOWNLOAD_RETRY, &AgentLibrary::downloadRetryTimerExpired},
};

const char *takeText(const cJSON *object, const char *key, std::string &whatIsWrong) {
    const char *const text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, key));
    if (text == nullptr) {
        whatIsWrong = std::string("\"") + key + "\" is missing or no text: expected a text";
    }
    return text;
}

bool takeConfig(const cJSON *event, OtaLibConfig &config, std::string &whatIsWrong) {
    const cJSON *const object = cJSON_GetObjectItemCaseSensitive(event, "config");
    if (!cJSON_IsObject(object)) {
        whatIsWrong = "\"config\" is missing or no object: expected an object";
        return false;
    }
    int offload = 0;
    if (!takeInteger(object, "OffloadDownloadActivate", offload, whatIsWrong) ||
        !takeInteger(object, "initial_obardingStatus", config.initial_obardingStatus,
                     whatIsWrong) ||
        !takeInteger(object, "firsttime_polling", config.firsttime_polling, whatIsWrong)) {
        return false;
    }
    if (offload < 0 || offload > std::numeric_limits<std::uint8_t>::max()) {
        whatIsWrong = "\"OffloadDownloadActivate\" is out of range: expected 0 to 255";
        return false;
    }
    config.OffloadDownloadActivate = static_cast<std::uint8_t>(offload);
    return true;
}

bool handleNewImage(const AgentLibrary &agent, const cJSON *event, std::string &whatIsWrong) {
    OtaLibConfig config{};
    const char *const descriptor = takeText(event, "descriptor", whatIsWrong);
    if (descriptor == nullptr || !takeConfig(event, config, whatIsWrong)) {
        return false;
    }
    agent.processNewImage(descriptor, nullptr, &config);
    return true;
}

bool handleMobileTrigger(const AgentLibrary &agent, const cJSON *event, std::string &whatIsWrong) {
    MobileAppNotify notify{};
    if (!takeInteger(event, "newswavailflag", notify.newswavailflag, whatIsWrong)) {
        return false;
    }
    agent.processMobileTrigger(&notify);
    return true;
}

bool handleActivationTime(const AgentLibrary &agent, const cJSON *event, std::string &whatIsWrong) {
    const char *const record = takeText(event, "record", whatIsWrong);
    if (record == nullptr) {
        return false;
    }
    agent.processActivationTime(record, nullptr);
    return true;
}

bool handleTimer(const AgentLibrary &agent, const cJSON *event, std::string &whatIsWrong) {
    const char *const name = takeText(event, "name", whatIsWrong);
    if (name == nullptr) {
        return false;
    }
    for (const TimerRow &row : kTimers) {
        if (std::string(name) == row.name) {
            (agent.*row.expired)();
            return true;
        }
    }
    whatIsWrong = std::string("the timer \"") + name +
                  "\" is not known: expected " TIMER_REBOOT ", " TIMER_DOWNLOAD_START
                  " or " TIMER_DOWNLOAD_RETRY;
    return false;
}

const EventRow kEvents[] = {
    {"new-image", handleNewImage},
    {"mobile-trigger", handleMobileTrigger},
    {"activation-time", handleActivationTime},
    {"timer", handleTimer},
};

} // namespace

bool handleEvent(const AgentLibrary &agent, const Json &event, std::string &name,
                 std::string &whatIsWrong) {
    const char *const given = takeText(event.get(), "event", whatIsWrong);
    if (given == nullptr) {
        return false;
    }
    name = given;
    for (const EventRow &row : kEvents) {
        if (name == row.name) {
            if (row.handle(agent, event.get(), whatIsWrong)) {
                return true;
            }
            whatIsWrong = "the event \"" + name + "\": " + whatIsWrong;
            return false;
        }
    }
    whatIsWrong = "the event \"" + name +
                  "\" is not known: expected new-image, mobile-trigger, activation-time or timer";
    return false;
}

bool takeInteger(const cJSON *object, const char *key, int &number, std::string &whatIsWrong) {
    const cJSON *const item = cJSON_GetObjectItemCaseSensitive(object, key);
    const double value = cJSON_IsNumber(item) ? item->valuedouble : std::nan("");
    if (!(std::trunc(value) == value && value >= std::numeric_limits<int>::min() &&
          value <= std::numeric_limits<int>::max())) {
        whatIsWrong =
            std::string("\"") + key + "\" is missing or no whole number: expected a whole number";
        return false;
    }
    number = static_cast<int>(value);
    return true;
}

} // namespace host
