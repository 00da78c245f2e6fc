// SPDX-License-Identifier: MIT
#include "host/trial.h"

#include "base/bank_note.h"
#include "base/timed.h"
#include "base/trusted_path.h"
#include "host/platform_library.h"
#include "host/supervisor_link.h"
#include "host/update_notes.h"

#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace host {
namespace {

constexpr int kMinuteMs = 60 * 1000;
constexpr int kHealthLimit = 60; // seconds, where the platform has no other
constexpr const char *kReboot = "/sbin/reboot";

constexpr const char *kNoTrials = "this platform has no trials";

base::Json noteOf(const char *name, const OtaBankFacts &facts, int bank) {
    base::Json note = newNote(name);
    base::add(note.get(), "bank", base::bankName(bank));
    base::add(note.get(), "version", facts.banks[bank].version);
    return note;
}

void tellTrial(const OtaBankFacts &facts) {
    const base::Json note = noteOf("trial", facts, facts.active);
    base::add(note.get(), "attempts", facts.banks[facts.active].attempts);
    tellBanks();
    tellSupervisor(note);
}

void tellFailure(const OtaBankFacts &facts, int bank, const std::string &reason) {
    const base::Json note = noteOf("trial-failed", facts, bank);
    base::add(note.get(), "reason", reason);
    tellBanks();
    tellSupervisor(note);
}

// An error was reported already by the platform, which read it just before.
OtaBankFacts orNone(const base::Result<base::BankNews> &news) {
    OtaBankFacts none{};
    none.trial = OTA_NO_BANK;
    return news ? news->facts : none;
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
bool lostItsTrial(const OtaBankFacts &facts) {
    return facts.trial == OTA_NO_BANK && facts.chosen != facts.active &&
           base::failedVersion(facts, runningVersion(facts)) != nullptr;
}

int healthLimit() {
    const auto ask = platformService().healthLimit;
    return ask == nullptr ? kHealthLimit : ask();
}

base::Result<void> checkHealth() {
    const auto check = platformService().checkHealth;
    return check == nullptr ? base::Result<void>() : ask(check, "");
}

// A new version whose configuration manager never starts would stay on trial for ever.
base::Result<void> comesUp(const std::string &path) {
    constexpr int kPollMs = 100;
    const int seconds = healthLimit();
    for (int waited = 0;; waited += kPollMs) {
        const std::string flaw = base::whyNoTrustedSocket(path);
        if (flaw.empty()) {
            return {};
        }
        if (waited >= seconds * base::kMsPerSecond) {
            const bool isThere = access(path.c_str(), F_OK) == 0;
            return base::Error{path +
                               ", which the configuration manager makes, was not there within " +
                               std::to_string(seconds) + " s" +
                               (isThere ? "; what is there is not its socket: " + flaw : "")};
        }
        poll(nullptr, 0, kPollMs);
    }
}

TrialVerdict judge(const OtaBankFacts &facts, const base::Channel &supervisor,
                   const std::string &agentWaitsFor) {
    enterStage(Stage::committing);
    tellTrial(facts);
    base::Result<void> proven;
    if (facts.healthy == 0 || facts.trial != facts.active) {
        proven = checkHealth().andThen([&] { return comesUp(agentWaitsFor); });
    }
    if (proven) {
        endStage();
        return TrialVerdict::passed;
    }
    const std::string &unhealthy = proven.error().text;
    tellFailure(facts, facts.active, unhealthy);
    const std::string failed =
        base::namedBank(facts, facts.active) + " failed its trial: " + unhealthy;
    const auto left = ask(platformService().failTrial, kNoTrials);
    if (left) {
        awaitReboot(supervisor, failed);
    }
    // A node that runs is better than none.
    complain(failed + "; it goes on all the same, not marked good: " + left.error().text);
    endStage();
    return TrialVerdict::unproven;
}

// A node whose boot loader does not follow the choice must not reboot for ever.
TrialVerdict leaveOnceMore(const OtaBankFacts &facts, const base::Channel &supervisor) {
    const std::string lost = base::namedBank(facts, facts.active) + " failed its trial";
    const auto reboots = ask(platformService().mayReboot, kNoTrials);
    if (reboots) {
        awaitReboot(supervisor, lost);
    }
    const std::string &staysHere = reboots.error().text;
    complain(lost + " and goes on: " + staysHere);
    tellFailure(facts, facts.active, staysHere);
    return TrialVerdict::unproven;
}

void tellNotCommitted(const std::string &whatIsWrong) {
    const OtaBankFacts facts = orNone(bankNews());
    const base::Json note = noteOf("not-committed", facts, facts.active);
    complain(base::namedBank(facts, facts.active) + " was not marked good: " + whatIsWrong +
             "; otactl commit tries again");
    base::add(note.get(), "reason", whatIsWrong);
    tellBanks();
    tellSupervisor(note);
}

} // namespace

void tellBanks() { tellSupervisor(base::bankNote(bankNews())); }

TrialVerdict proveTrial(const base::Channel &supervisor, const std::string &agentWaitsFor) {
    if (!hasTrials()) {
        return TrialVerdict::none;
    }
    const auto news = bankNews();
    const OtaBankFacts facts = orNone(news);
    OtaFault fault{};
    const int trial = platformService().beginTrial(&fault);
    const std::string what = fault.text[0] == '\0' ? "" : errorOf(fault).text;
    switch (trial) {
    case OTA_TRIAL_RUNNING:
        std::fprintf(stderr, "notice: ota-host: %s\n", what.c_str());
        return judge(facts, supervisor, agentWaitsFor);
    case OTA_TRIAL_FAILED:
        complain(what);
        tellFailure(facts, facts.trial == OTA_NO_BANK ? base::otherBank(facts.active) : facts.trial,
                    what);
        return TrialVerdict::none;
    case OTA_TRIAL_NONE:
        if (!what.empty()) {
            complain(what);
        }
        if (news && lostItsTrial(facts)) {
            return leaveOnceMore(facts, supervisor);
        }
        return TrialVerdict::none;
    default:
        // Nobody judged the bank, so nothing may report it.
        complain("the platform answers " + std::to_string(trial) +
                 " to beginTrial, which is none of its answers (platform/service.h); nothing is "
                 "committed");
        return TrialVerdict::unproven;
    }
}

bool prepareCommit() {
    const auto prepared = ask(platformService().passTrial, kNoTrials);
    if (!prepared) {
        tellNotCommitted(prepared.error().text);
    }
    return static_cast<bool>(prepared);
}

void commitTrial() {
    if (const auto committed = ask(platformService().commit, kNoTrials); !committed) {
        return tellNotCommitted(committed.error().text);
    }
    const OtaBankFacts facts = orNone(bankNews());
    tellBanks();
    tellSupervisor(noteOf("committed", facts, facts.active));
}

base::Result<void> commitByHand(void (*commitCheck)()) {
    if (!hasTrials()) {
        return base::Error{std::string(kNoTrials) + ", and marks no bank good"};
    }
    const auto news = bankNews();
    if (!news) {
        return news.error();
    }
    if (news->facts.trial == news->facts.active) {
        if (auto prepared = ask(platformService().passTrial, kNoTrials); !prepared) {
            return prepared;
        }
        commitCheck(); // says nothing where it was done: it took the mark away
    }
    return ask(platformService().commit, kNoTrials);
}

} // namespace host
