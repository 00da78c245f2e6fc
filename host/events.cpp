// SPDX-License-Identifier: MIT
#include "host/events.h"

#include "base/json_fields.h"
#include "base/lib_config.h"
#include "host/agent_memory.h"
#include "host/supervisor_link.h"
#include "host/trial.h"
#include "platform/abandon.h"
#include "platform/timers.h"
#include "platform/trial.h"

namespace host {
namespace {

// Reads what the event carries and does it; false where it cannot be read, with nothing done.
// `failure` is set where it was read and could not be carried out.
using Handle = bool (*)(const AgentLibrary &agent, const cJSON *event, std::string &failure,
                        std::string &whatIsWrong);

enum class Fetches { no, maybe };

struct EventRow {
    const char *name;
    Handle handle;
    Fetches image = Fetches::no;
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

// What a file server sent lies in memory on most nodes, and the agent leaves it there until its
// next download. A call that broke off leaves it too, for the supervisor to tell how far it came.
void dropImages() {
    if (const auto dropped = nalDropImages(); !dropped) {
        complain(dropped.error().text + "; it takes room until the next download");
    }
}

bool handleNewImage(const AgentLibrary &agent, const cJSON *event, std::string & /*failure*/,
                    std::string &whatIsWrong) {
    OtaLibConfig config{};
    const char *const descriptor = base::takeText(event, "descriptor", whatIsWrong);
    if (descriptor == nullptr || !base::takeLibConfig(event, "config", config, whatIsWrong)) {
        return false;
    }
    agent.processNewImage(descriptor, nullptr, &config);
    return true;
}

// The agent removes its file for the mobile app below /tmp, whatever the node's directory is.
bool handleMobileTrigger(const AgentLibrary &agent, const cJSON *event, std::string & /*failure*/,
                         std::string &whatIsWrong) {
    MobileAppNotify notify{};
    if (!base::takeInteger(event, "newswavailflag", notify.newswavailflag, whatIsWrong)) {
        return false;
    }
    if (const auto dropped = nalDropAgentData(); !dropped) {
        complain(dropped.error().text + "; the mobile app still finds the offer in it");
    }
    agent.processMobileTrigger(&notify);
    return true;
}

bool handleActivationTime(const AgentLibrary &agent, const cJSON *event, std::string & /*failure*/,
                          std::string &whatIsWrong) {
    const char *const record = base::takeText(event, "record", whatIsWrong);
    if (record == nullptr) {
        return false;
    }
    agent.processActivationTime(record, nullptr);
    return true;
}

bool handleTimer(const AgentLibrary &agent, const cJSON *event, std::string & /*failure*/,
                 std::string &whatIsWrong) {
    const char *const name = base::takeText(event, "name", whatIsWrong);
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

// A memory that cannot be used is no reason to fall silent: the node goes on with what it holds.
bool handleRestore(const AgentLibrary &agent, const cJSON *event, std::string &failure,
                   std::string & /*whatIsWrong*/) {
    const cJSON *const memory = cJSON_GetObjectItemCaseSensitive(event, "memory");
    if (!restoreMemory(agent.state, memory, failure)) {
        failure = "the agent's memory was not restored: " + failure;
    }
    return true;
}

bool handleAbandon(const AgentLibrary & /*agent*/, const cJSON * /*event*/, std::string &failure,
                   std::string & /*whatIsWrong*/) {
    if (const auto abandoned = nalAbandon(); !abandoned) {
        failure = "the upgrade was not taken back as a whole: " + abandoned.error().text;
    }
    return true;
}

// Without it the agent meets the written image as an old one, and goes on with that.
bool handleBeginAnew(const AgentLibrary & /*agent*/, const cJSON * /*event*/, std::string &failure,
                     std::string & /*whatIsWrong*/) {
    if (const auto givenUp = nalGiveUpPassive(); !givenUp) {
        failure = "the written image was not given up: " + givenUp.error().text;
    }
    return true;
}

// As the agent does it where its own count has come that far.
bool handleGiveUpDownload(const AgentLibrary &agent, const cJSON * /*event*/,
                          std::string & /*failure*/, std::string & /*whatIsWrong*/) {
    *agent.state.downloadRetryTimer = 0;
    agent.report(OTA_STATUS_RECONNECT);
    return true;
}

bool handleCommit(const AgentLibrary &agent, const cJSON * /*event*/, std::string &failure,
                  std::string & /*whatIsWrong*/) {
    if (const auto committed = commitByHand(agent.checkCommit); !committed) {
        failure = "the running bank was not marked good: " + committed.error().text;
    }
    return true;
}

bool handleForget(const AgentLibrary & /*agent*/, const cJSON *event, std::string &failure,
                  std::string &whatIsWrong) {
    const char *const version = base::takeText(event, "version", whatIsWrong);
    if (version == nullptr) {
        return false;
    }
    if (const auto forgotten = nalForget(version); !forgotten) {
        failure = "the version was not forgotten: " + forgotten.error().text;
    }
    return true;
}

const EventRow kEvents[] = {
    {"new-image", handleNewImage, Fetches::maybe},
    {"mobile-trigger", handleMobileTrigger, Fetches::maybe},
    {"activation-time", handleActivationTime},
    {"timer", handleTimer, Fetches::maybe},
    {"restore", handleRestore},
    {"abandon", handleAbandon},
    {"begin-anew", handleBeginAnew},
    {"give-up-download", handleGiveUpDownload},
    {"commit", handleCommit},
    {"forget", handleForget},
};

} // namespace

bool handleEvent(const AgentLibrary &agent, const base::Json &event, Handled &handled,
                 std::string &whatIsWrong) {
    const char *const given = base::takeText(event.get(), "event", whatIsWrong);
    if (given == nullptr) {
        return false;
    }
    handled.name = given;
    for (const EventRow &row : kEvents) {
        if (handled.name == row.name) {
            if (row.handle(agent, event.get(), handled.failure, whatIsWrong)) {
                if (row.image == Fetches::maybe) {
                    dropImages();
                }
                return true;
            }
            whatIsWrong = "the event \"" + handled.name + "\": " + whatIsWrong;
            return false;
        }
    }
    whatIsWrong = "the event \"" + handled.name +
                  "\" is not known: expected new-image, mobile-trigger, activation-time, timer, "
                  "restore, abandon, begin-anew, give-up-download, commit or forget";
    return false;
}

} // namespace host
