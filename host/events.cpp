// SPDX-License-Identifier: MIT
#include "host/events.h"

#include "base/json.h"
#include "base/lib_config.h"
#include "host/agent_memory.h"
#include "host/leftovers.h"
#include "host/platform_library.h"
#include "host/supervisor_link.h"
#include "host/trial.h"
#include "platform/timers.h"

namespace host {
namespace {

// Why what was read could not be carried out; empty where it was.
using Failure = std::string;

// Reads what the event carries and does it. Error: it cannot be read, and nothing is done.
using Handle = base::Result<Failure> (*)(const AgentLibrary &agent, const cJSON *event);

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
void dropWhatWasFetched() {
    if (const auto dropped = dropImages(platformCalls().tmpDirectory()); !dropped) {
        complain(dropped.error().text + "; it takes room until the next download");
    }
}

base::Result<Failure> handleNewImage(const AgentLibrary &agent, const cJSON *event) {
    const auto descriptor = base::takeText(event, "descriptor");
    if (!descriptor) {
        return descriptor.error();
    }
    auto config = base::takeLibConfig(event, "config");
    if (!config) {
        return config.error();
    }
    agent.processNewImage(descriptor->c_str(), nullptr, &*config);
    return Failure();
}

// The agent removes its file for the mobile app below /tmp, whatever the node's directory is.
base::Result<Failure> handleMobileTrigger(const AgentLibrary &agent, const cJSON *event) {
    const auto flag = base::takeInteger(event, "newswavailflag");
    if (!flag) {
        return flag.error();
    }
    if (const auto dropped = dropAgentData(platformCalls().tmpDirectory()); !dropped) {
        complain(dropped.error().text + "; the mobile app still finds the offer in it");
    }
    MobileAppNotify notify{};
    notify.newswavailflag = *flag;
    agent.processMobileTrigger(&notify);
    return Failure();
}

base::Result<Failure> handleActivationTime(const AgentLibrary &agent, const cJSON *event) {
    const auto record = base::takeText(event, "record");
    if (!record) {
        return record.error();
    }
    agent.processActivationTime(record->c_str(), nullptr);
    return Failure();
}

base::Result<Failure> handleTimer(const AgentLibrary &agent, const cJSON *event) {
    const auto name = base::takeText(event, "name");
    if (!name) {
        return name.error();
    }
    for (const TimerRow &row : kTimers) {
        if (*name == row.name) {
            (agent.*row.expired)();
            return Failure();
        }
    }
    return base::Error{"the timer \"" + *name +
                       "\" is not known: expected " TIMER_REBOOT ", " TIMER_DOWNLOAD_START
                       " or " TIMER_DOWNLOAD_RETRY};
}

Failure failureOf(const base::Result<void> &done, const std::string &what) {
    return done ? "" : what + ": " + done.error().text;
}

// A memory that cannot be used is no reason to fall silent: the node goes on with what it holds.
base::Result<Failure> handleRestore(const AgentLibrary &agent, const cJSON *event) {
    const cJSON *const memory = base::itemOf(event, "memory");
    return failureOf(restoreMemory(agent.state, memory), "the agent's memory was not restored");
}

base::Result<Failure> handleAbandon(const AgentLibrary & /*agent*/, const cJSON * /*event*/) {
    const std::string what = "the upgrade was not taken back as a whole";
    const std::string logs = platformCalls().logsDirectory();
    const auto takeBack = platformService().takeBack;
    if (takeBack == nullptr && isActivated(logs)) {
        // Its mark stays: it is how the agent reports the bank that boots next.
        return what + ": this platform takes no activation back; the other bank boots next";
    }
    // The choice first: it is what would still act on its own.
    const auto chosen = takeBack == nullptr ? base::Result<void>() : ask(takeBack, "");
    const auto dropped = dropUpgrade(platformCalls().tmpDirectory(), logs);
    return failureOf(chosen ? dropped : chosen, what);
}

// Without it the agent meets the written image as an old one, and goes on with that.
base::Result<Failure> handleBeginAnew(const AgentLibrary & /*agent*/, const cJSON * /*event*/) {
    return failureOf(
        ask(platformService().giveUpPassive, "this platform gives none up, offer another version"),
        "the written image was not given up");
}

// As the agent does it where its own count has come that far.
base::Result<Failure> handleGiveUpDownload(const AgentLibrary &agent, const cJSON * /*event*/) {
    *agent.state.downloadRetryTimer = 0;
    agent.report(OTA_STATUS_RECONNECT);
    return Failure();
}

base::Result<Failure> handleCommit(const AgentLibrary &agent, const cJSON * /*event*/) {
    return failureOf(commitByHand(agent.checkCommit), "the running bank was not marked good");
}

base::Result<Failure> handleForget(const AgentLibrary & /*agent*/, const cJSON *event) {
    const auto version = base::takeText(event, "version");
    if (!version) {
        return version.error();
    }
    return failureOf(
        ask(platformService().forget, "this platform remembers none", version->c_str()),
        "the version was not forgotten");
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

base::Result<Handled> handleEvent(const AgentLibrary &agent, const base::Json &event) {
    const auto name = base::takeText(event.get(), "event");
    if (!name) {
        return name.error();
    }
    for (const EventRow &row : kEvents) {
        if (*name == row.name) {
            const auto failure = row.handle(agent, event.get());
            if (!failure) {
                return failure.error().within("the event \"" + *name + "\": ");
            }
            if (row.image == Fetches::maybe) {
                dropWhatWasFetched();
            }
            return Handled{*name, *failure};
        }
    }
    return base::Error{
        "the event \"" + *name +
        "\" is not known: expected new-image, mobile-trigger, activation-time, timer, "
        "restore, abandon, begin-anew, give-up-download, commit or forget"};
}

} // namespace host
