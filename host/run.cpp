// SPDX-License-Identifier: MIT
// The host process: start-up of the agent, then one event at a time.
#include "host/run.h"

#include "host/agent_library.h"
#include "host/channel.h"
#include "host/events.h"
#include "host/options.h"
#include "host/supervisor_link.h"
#include "platform/nal/open.h"

#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace host {
namespace {

constexpr int kWrongUse = 2;

bool isSocket(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

void reportDone(Channel &channel, const AgentLibrary &agent, const std::string &what) {
    const Json done(cJSON_CreateObject());
    std::string whatIsWrong;
    if (cJSON_AddStringToObject(done.get(), "done", what.c_str()) == nullptr ||
        cJSON_AddNumberToObject(done.get(), "deferred", agent.isUpgradeDeferred()) == nullptr) {
        endHost("no memory for a message to the supervisor");
    }
    if (!channel.send(done.get(), whatIsWrong)) {
        endHost("the end of " + what + " could not be sent to the supervisor: " + whatIsWrong);
    }
}

// The agent waits for it without a word, for as long as it takes.
void sayWhatTheAgentWaitsFor(const AgentLibrary &agent) {
    const char *const path = agent.socketPath();
    if (access(path, F_OK) != 0) {
        std::fprintf(stderr,
                     "notice: ota-host: the agent waits until %s is there; start the configuration "
                     "manager that makes it\n",
                     path);
    }
}

int serveEvents(Channel &channel, const AgentLibrary &agent) {
    for (;;) {
        Json event;
        std::string name;
        std::string whatIsWrong;
        const Channel::Status status = channel.receive(event, whatIsWrong);
        if (status == Channel::Status::endOfFile) {
            return 0;
        }
        if (status != Channel::Status::message) {
            endHost("an event could not be read from the channel: " + whatIsWrong +
                    "; the supervisor must send a length and one JSON object");
        }
        if (!handleEvent(agent, event, name, whatIsWrong)) {
            endHost("an event from the channel cannot be used: " + whatIsWrong);
        }
        reportDone(channel, agent, name);
    }
}

} // namespace

int runHost(int argc, char **argv) {
    Options options;
    AgentLibrary agent;
    std::string whatIsWrong;
    if (!readOptions(argc, argv, options, whatIsWrong)) {
        std::fprintf(stderr, "error: ota-host: %s\n", whatIsWrong.c_str());
        return kWrongUse;
    }
    if (options.help) {
        std::printf("%s\n", kUse);
        return 0;
    }
    if (!isSocket(options.channel)) {
        std::fprintf(stderr,
                     "error: ota-host: --channel %d is no open socket; start the host with one\n",
                     options.channel);
        return kWrongUse;
    }
    Channel channel(options.channel);
    if (!nalOpen(options.config.c_str(), whatIsWrong) ||
        !openAgentLibrary(options.library, agent, whatIsWrong)) {
        endHost(whatIsWrong);
    }
    setSupervisor(&channel);
    agent.initOTAlib();
    sayWhatTheAgentWaitsFor(agent);
    agent.main();
    agent.checkCommit();
    reportDone(channel, agent, "start-up");
    return serveEvents(channel, agent);
}

} // namespace host
