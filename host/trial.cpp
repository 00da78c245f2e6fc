// SPDX-License-Identifier: MIT
// The trial of a new version: the health of the node before the agent starts, the commit behind it.
#include "host/trial.h"

#include "host/stage.h"
#include "host/supervisor_link.h"
#include "platform/nal/bank_device.h"
#include "platform/nal/node.h"
#include "platform/nal/trial.h"

#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>

namespace host {
namespace {

constexpr int kMinuteMs = 60 * 1000;
constexpr const char *kReboot = "/sbin/reboot";

std::string named(const nal::BootState &state, nal::Bank bank) {
    const std::string &version = state.of(bank).version;
    return std::string("bank ") + nal::bankName(bank) +
           (version.empty() ? "" : " (" + version + ")");
}

Json noteOf(const char *name, const nal::BootState &state, nal::Bank bank) {
    Json note = newNote(name);
    cJSON_AddStringToObject(note.get(), "bank", nal::bankName(bank));
    cJSON_AddStringToObject(note.get(), "version", state.of(bank).version.c_str());
    return note;
}

void tellTrial(const nal::BootState &state) {
    const Json note = noteOf("trial", state, state.active);
    cJSON_AddNumberToObject(note.get(), "attempts", state.attemptsOf(state.active));
    tellSupervisor(note);
}

void tellFailure(const nal::BootState &state, nal::Bank bank, const std::string &reason) {
    const Json note = noteOf("trial-failed", state, bank);
    cJSON_AddStringToObject(note.get(), "reason", reason.c_str());
    tellSupervisor(note);
}

bool readState(nal::BootState &state) {
    std::string alreadyReported; // by the platform, which read it just before
    return nal::readBootState(nal::node().config().bootState, state, alreadyReported);
}

// Not with sleep(): where the node's clock is a play's, that one passes at once.
[[noreturn]] void awaitReboot(const Channel &supervisor, const std::string &why) {
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

/*
 * True where this process was started between the end of a failed trial and the reboot. The old
 * bank is looked at, since a node that cannot leave its bank must not reboot for ever.
 */
bool lostItsTrial(const nal::BootState &state, std::string &why) {
    const nal::Bank old = nal::otherBank(state.active);
    if (state.trial || state.next != old || !state.of(old).whole ||
        nal::failedVersion(state, state.of(state.active).version) == nullptr) {
        return false;
    }
    std::string whatIsWrong;
    if (nal::compareBank(state.of(old), nal::node().config().bankPath(old), whatIsWrong) !=
        nal::BankBytes::recorded) {
        complain(named(state, state.active) + " failed its trial and goes on: " + whatIsWrong);
        return false;
    }
    why =
        named(state, state.active) + " failed its trial, and " + named(state, old) + " boots next";
    return true;
}

bool isHealthy(const nal::BootState &state, const Channel &supervisor) {
    enterStage(Stage::committing);
    tellTrial(state);
    std::string unhealthy;
    if (nalCheckHealth(unhealthy)) {
        endStage();
        return true;
    }
    tellFailure(state, state.active, unhealthy);
    const std::string failed = named(state, state.active) + " failed its trial: " + unhealthy;
    std::string cannotFallBack;
    if (nalFailTrial(cannotFallBack)) {
        awaitReboot(supervisor, failed);
    }
    // A node that runs is better than none.
    complain(failed + "; it goes on all the same, not marked good: " + cannotFallBack);
    endStage();
    return false;
}

} // namespace

bool passesTrial(const Channel &supervisor) {
    nal::BootState state;
    const bool known = readState(state);
    std::string what;
    switch (nalBeginTrial(what)) {
    case NalTrial::running:
        std::fprintf(stderr, "notice: ota-host: %s\n", what.c_str());
        return isHealthy(state, supervisor);
    case NalTrial::failed:
        complain(what);
        tellFailure(state, state.trial.value_or(nal::otherBank(state.active)), what);
        return false;
    case NalTrial::none:
        if (!what.empty()) {
            complain(what);
        }
        if (known && lostItsTrial(state, what)) {
            awaitReboot(supervisor, what);
        }
        return false;
    }
    return false;
}

void commitTrial() {
    nal::BootState state;
    std::string whatIsWrong;
    const bool done = nalCommit(whatIsWrong);
    readState(state);
    const Json note = noteOf(done ? "committed" : "not-committed", state, state.active);
    if (!done) {
        complain(named(state, state.active) + " was not marked good: " + whatIsWrong +
                 "; otactl commit tries again");
        cJSON_AddStringToObject(note.get(), "reason", whatIsWrong.c_str());
    }
    tellSupervisor(note);
}

} // namespace host
