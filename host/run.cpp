// SPDX-License-Identifier: MIT
#include "host/run.h"

#include "base/bridge_address.h"
#include "base/channel.h"
#include "base/outcome.h"
#include "host/agent_files.h"
#include "host/agent_library.h"
#include "host/agent_memory.h"
#include "host/events.h"
#include "host/manager_socket.h"
#include "host/options.h"
#include "host/platform_library.h"
#include "host/supervisor_link.h"
#include "host/trial.h"
#include "host/update_notes.h"

#include <csignal>
#include <cstdio>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace host {
namespace {

constexpr int kConfigWrong = static_cast<int>(base::Outcome::configWrong);
constexpr const char *kStartUp = "start-up";

// A host without its supervisor would keep the node locked and do what nobody sees any more.
void endWithSupervisor() { prctl(PR_SET_PDEATHSIG, SIGKILL); }

// One that ended before the signal was asked for has closed its end of the channel already.
bool supervisorIsGone(const base::Channel &channel) {
    pollfd entry{channel.fd(), POLLRDHUP, 0};
    return poll(&entry, 1, 0) > 0 && (entry.revents & (POLLHUP | POLLRDHUP)) != 0;
}

// The whole of what the supervisor learns when a call ends.
base::Json doneMessage(const AgentLibrary &agent, const std::string &what) {
    base::Json done = base::message({{"done", what}});
    base::add(done.get(), "deferred", agent.isUpgradeDeferred());
    base::add(done.get(), "memory", takeMemory(agent.state));
    return done;
}

void sendDone(base::Channel &channel, const base::Json &done, const std::string &what) {
    endCauses();
    endStage();
    tellBanks();
    if (const auto sent = channel.send(done.get()); !sent) {
        endHost("the end of " + what +
                " could not be sent to the supervisor: " + sent.error().text);
    }
}

// What the agent will be told, also where the supervisor's own view of the interfaces is another.
void tellAddress() {
    const base::Json note = newNote("node");
    base::add(note.get(), "mac", base::bridgeAddress());
    tellSupervisor(note);
}

void reportHandled(base::Channel &channel, const AgentLibrary &agent, const Handled &handled) {
    const base::Json done = doneMessage(agent, handled.name);
    if (!handled.failure.empty()) {
        complain(handled.failure);
        base::add(done.get(), "failed", handled.failure);
    }
    sendDone(channel, done, handled.name);
}

int tellFindings(base::Channel &channel, const Options &options) {
    base::ConfigFindings findings;
    if (auto found = checkPlatformsConfig(options.platform, options.config); found) {
        findings = std::move(*found);
    } else {
        findings.obstacles.push_back(found.error().text);
    }
    return channel.send(base::findingsAsJson(findings).get()) ? 0 : 1;
}

// The agent reports a commit only where nothing is left that could take the bank back.
void startAgent(const base::Channel &channel, const AgentLibrary &agent, const Options &options) {
    const bool commitCheck = options.commitCheck;
    agent.initOTAlib();
    setMarkPath(agent.markPath());
    tellAddress();
    if (commitCheck) {
        restoreMark(options.activated);
    }
    const TrialVerdict trial =
        commitCheck ? proveTrial(channel, agent.socketPath()) : TrialVerdict::none;
    awaitManagerSocket(channel, agent.socketPath());
    agent.main();
    const bool passed = trial == TrialVerdict::passed && prepareCommit();
    if (commitCheck && (passed || trial == TrialVerdict::none)) {
        agent.checkCommit();
    }
    if (passed) {
        commitTrial();
    }
}

int serveEvents(base::Channel &channel, const AgentLibrary &agent) {
    for (;;) {
        const auto event = channel.receive();
        if (!event) {
            endHost("an event could not be read from the channel: " + event.error().text +
                    "; the supervisor must send a length and one JSON object");
        }
        if (!*event) {
            return 0;
        }
        const auto handled = handleEvent(agent, *event);
        if (!handled) {
            endHost("an event from the channel cannot be used: " + handled.error().text);
        }
        reportHandled(channel, agent, *handled);
    }
}

} // namespace

int runHost(int argc, char **argv) {
    endWithSupervisor();
    std::signal(SIGPIPE, SIG_IGN); // a reader of standard error that went away must not end it
    const Options options = readOptions(argc, argv);
    base::Channel channel(options.channel);
    if (supervisorIsGone(channel)) {
        endHost("the supervisor ended before the host began; start it again");
    }
    if (options.check) {
        return tellFindings(channel, options);
    }
    setSupervisor(&channel);
    if (const auto opened = openPlatform(options.platform, options.config); !opened) {
        // Told apart from what another start may mend.
        if (opened.error().reason == base::Reason::configWrong) {
            complain(opened.error().text);
            tellLastWords(opened.error());
            return kConfigWrong;
        }
        endHost(opened.error().text, opened.error().reason);
    }
    const auto library = openAgentLibrary(options.library);
    if (!library) {
        endHost(library.error().text, library.error().reason);
    }
    const AgentLibrary &agent = *library;
    closeLogFiles();
    followPlatform(agent.state.swInfo->nxtMSVersion);
    tellBanks();
    startAgent(channel, agent, options);
    sendDone(channel, doneMessage(agent, kStartUp), kStartUp);
    return serveEvents(channel, agent);
}

} // namespace host
