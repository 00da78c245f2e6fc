// SPDX-License-Identifier: MIT
#include "host/trial.h"

#include "base/trusted_path.h"
#include "host/supervisor_link.h"
#include "host/update_notes.h"
#include "node/bank_note.h"
#include "platform/node.h"
#include "platform/trial.h"

#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace host {
namespace {

constexpr int kMinuteMs = 60 * 1000;
constexpr const char *kReboot = "/sbin/reboot";

base::Json noteOf(const char *name, const node::BootState &state, node::Bank bank) {
    base::Json note = newNote(name);
    base::add(note.get(), "bank", node::bankName(bank));
    base::add(note.get(), "version", state.of(bank).version);
    return note;
}

void tellTrial(const node::BootState &state) {
    const base::Json note = noteOf("trial", state, state.active);
    base::add(note.get(), "attempts", state.attemptsOf(state.active));
    tellBanks();
    tellSupervisor(note);
}

void tellFailure(const node::BootState &state, node::Bank bank, const std::string &reason) {
    const base::Json note = noteOf("trial-failed", state, bank);
    base::add(note.get(), "reason", reason);
    tellBanks();
    tellSupervisor(note);
}

// An error was reported already by the platform, which read it just before.
node::BootState stateOrNone() {
    const auto state = platform::node().readBootState();
    return state ? *state : node::BootState();
}

// Not with sleep(): where the node's clock is a play's, that one passes at once.
[[noreturn]] void awaitReboot(const base::Channel &supervisor, const std::string &why) {
    tellBanks();
    enterStage(Stage::rebooting);
    complain(why + "; the node reboots");
    if (std::system(kReboot) != 0) {
        complain(std::string(kReboot) + " failed; reboot the node by hand");
    }
    for (;;) {
        pollfd entry{supervisor.fd(), POLLRDHUP, 0};
        const int ready = poll(&entry, 1, kMinuteMs);
        if (ready > 0) {
            std::exit(0); // the supervisor ended
        }
        if (ready == 0) {
            complain("the reboot that was asked for has not come; reboot the node by hand");
        }
    }
}

// True where this process was started between the end of a failed trial and the reboot.
bool lostItsTrial(const node::BootState &state) {
    return !state.trial && state.next != state.active &&
           node::failedVersion(state, state.of(state.active).version) != nullptr;
}

// A new version whose configuration manager never starts would stay on trial for ever.
base::Result<void> comesUp(const std::string &path) {
    constexpr int kGlanceMs = 100;
    constexpr int kMsPerSecond = 1000;
    const int seconds = platform::node().config().healthLimitSeconds;
    for (int waited = 0;; waited += kGlanceMs) {
        const std::string flaw = base::whyNoTrustedSocket(path);
        if (flaw.empty()) {
            return {};
        }
        if (waited >= seconds * kMsPerSecond) {
            const bool isThere = access(path.c_str(), F_OK) == 0;
            return base::Error{path +
                               ", which the configuration manager makes, was not there within " +
                               std::to_string(seconds) + " s" +
                               (isThere ? "; what is there is not its socket: " + flaw : "")};
        }
        poll(nullptr, 0, kGlanceMs);
    }
}

TrialVerdict judge(const node::BootState &state, const base::Channel &supervisor,
                   const std::string &agentWaitsFor) {
    enterStage(Stage::committing);
    tellTrial(state);
    base::Result<void> proven;
    if (!nalIsHealthy()) {
        proven = nalCheckHealth().andThen([&] { return comesUp(agentWaitsFor); });
    }
    if (proven) {
        endStage();
        return TrialVerdict::passed;
    }
    const std::string &unhealthy = proven.error().text;
    tellFailure(state, state.active, unhealthy);
    const std::string failed =
        node::namedBank(state, state.active) + " failed its trial: " + unhealthy;
    const auto left = nalFailTrial();
    if (left) {
        awaitReboot(supervisor, failed);
    }
    // A node that runs is better than none.
    complain(failed + "; it goes on all the same, not marked good: " + left.error().text);
    endStage();
    return TrialVerdict::unproven;
}

// A node whose boot loader does not follow the choice must not reboot for ever.
TrialVerdict leaveOnceMore(const node::BootState &state, const base::Channel &supervisor) {
    const std::string lost = node::namedBank(state, state.active) + " failed its trial";
    const auto reboots = nalMayReboot();
    if (reboots) {
        awaitReboot(supervisor, lost);
    }
    const std::string &staysHere = reboots.error().text;
    complain(lost + " and goes on: " + staysHere);
    tellFailure(state, state.active, staysHere);
    return TrialVerdict::unproven;
}

void tellNotCommitted(const std::string &whatIsWrong) {
    const node::BootState state = stateOrNone();
    const base::Json note = noteOf("not-committed", state, state.active);
    complain(node::namedBank(state, state.active) + " was not marked good: " + whatIsWrong +
             "; otactl commit tries again");
    base::add(note.get(), "reason", whatIsWrong);
    tellBanks();
    tellSupervisor(note);
}

} // namespace

void tellBanks() { tellSupervisor(node::bankNote(platform::node().config().bootState)); }

TrialVerdict proveTrial(const base::Channel &supervisor, const std::string &agentWaitsFor) {
    const auto known = platform::node().readBootState();
    const node::BootState state = known ? *known : node::BootState();
    std::string what;
    switch (nalBeginTrial(what)) {
    case NalTrial::running:
        std::fprintf(stderr, "notice: ota-host: %s\n", what.c_str());
        return judge(state, supervisor, agentWaitsFor);
    case NalTrial::failed:
        complain(what);
        tellFailure(state, state.trial.value_or(node::otherBank(state.active)), what);
        return TrialVerdict::none;
    case NalTrial::none:
        if (!what.empty()) {
            complain(what);
        }
        if (known && lostItsTrial(state)) {
            return leaveOnceMore(state, supervisor);
        }
        break;
    }
    return TrialVerdict::none;
}

bool prepareCommit() {
    const auto prepared = nalPrepareCommit();
    if (!prepared) {
        tellNotCommitted(prepared.error().text);
    }
    return static_cast<bool>(prepared);
}

void commitTrial() {
    if (const auto committed = nalCommit(); !committed) {
        return tellNotCommitted(committed.error().text);
    }
    const node::BootState state = stateOrNone();
    tellBanks();
    tellSupervisor(noteOf("committed", state, state.active));
}

base::Result<void> commitByHand(void (*commitCheck)()) {
    const auto state = platform::node().readBootState();
    if (!state) {
        return state.error();
    }
    if (state->isOnTrial(state->active)) {
        if (auto prepared = nalPrepareCommit(); !prepared) {
            return prepared;
        }
        commitCheck(); // says nothing where it was done: it took the mark away
    }
    return nalCommit();
}

} // namespace host
