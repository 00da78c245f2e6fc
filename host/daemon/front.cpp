// SPDX-License-Identifier: MIT
// What the bus asks: judged by the guard, then handed on.
#include "host/daemon/front.h"

#include "host/daemon/judge.h"
#include "host/daemon/keep/line_source.h"
#include "host/daemon/keep/trial_words.h"
#include "host/guard/setting.h"

#include <ctime>

namespace otad {
namespace {

std::string nameOf(uid_t user) {
    return user == kNobodyKnown ? "an unknown user" : "user " + std::to_string(user);
}

} // namespace

// What is taken over is begun within moments, or its turn comes; not where nothing can begin.
std::optional<host::guard::Refusal> Front::noAgent() const {
    if (!house_.conductor.cannotStart()) {
        return std::nullopt;
    }
    return host::guard::Refusal{host::Outcome::notReady, "node", house_.conductor.whyNotStarted()};
}

// Whatever names the node by its address is judged by the one that it has now.
std::optional<host::guard::Refusal> Front::noAddress() const {
    if (auto refusal = noAgent()) {
        return refusal;
    }
    house_.root.follow();
    if (!house_.board.lastStatus().mac.empty()) {
        return std::nullopt;
    }
    const bool early = !house_.conductor.agentStarted() && house_.conductor.waitsForPath().empty();
    return host::guard::Refusal{host::Outcome::notReady, "node",
                                early ? house_.conductor.whyNotStarted()
                                      : "the bridge br0 has no address; bring it up, then send the "
                                        "request again"};
}

Judge Front::judge() const { return judgeNow(house_.config, house_.board.lastStatus()); }

// Root needs no limit: whoever is root can do worse, and its own tools must not be held up.
bool Front::isOverItsLimit(const BusCalls::Answer &answer) {
    const std::string caller = nameOf(caller_);
    const auto now = SenderLimit::Clock::now();
    if (caller_ == 0 || requests_.admitsNow(caller, "", now)) {
        return false;
    }
    refuse({host::Outcome::tooMany, "caller",
            caller + " has sent more requests than one user may; try again in " +
                std::to_string(requests_.waitOf(caller, now).count()) + " s"},
           answer);
    return true;
}

void Front::refuse(const host::guard::Refusal &refusal, const BusCalls::Answer &answer) {
    HistoryLine line;
    line.event = "refused";
    line.outcome = refusal.outcome;
    line.reason = refusal.text();
    line.next = host::rowOf(refusal.outcome).remedy;
    // Callers may cause as many refusals as they like, each its own.
    const std::string sender = std::string(kFromTheBus) + ", " + nameOf(caller_);
    if (house_.chronicle.judge(sender, line.reason) == SenderLimit::Verdict::tell) {
        house_.chronicle.tell(line);
    }
    lastRefusal_ = refusal.text();
    answer(&refusal, 0);
}

void Front::offerImage(const std::string &descriptor, const host::guard::OfferFlags &flags,
                       const BusCalls::Answer &answer) {
    if (const auto refusal = noAddress()) {
        return refuse(*refusal, answer);
    }
    Request request;
    if (const auto refusal = newImageRequest(descriptor, flags, judge(), request)) {
        return refuse(*refusal, answer);
    }
    if (!isOverItsLimit(answer)) {
        house_.conductor.accept(std::move(request), answer);
    }
}

void Front::triggerMobileApp(int newswavailflag, const BusCalls::Answer &answer) {
    if (const auto refusal = noAgent()) {
        return refuse(*refusal, answer);
    }
    if (!isOverItsLimit(answer)) {
        house_.conductor.accept(mobileTriggerRequest(newswavailflag), answer);
    }
}

void Front::setActivationTime(const std::string &record, const BusCalls::Answer &answer) {
    if (const auto refusal = noAgent()) {
        return refuse(*refusal, answer);
    }
    const auto unknown = noAddress();
    Request request;
    if (const auto refusal = activationTimeRequest(record, judge().node, request)) {
        // A record that names no node by its address does not wait for this one's.
        return refuse(unknown && refusal->field == "mac" ? *unknown : *refusal, answer);
    }
    if (!isOverItsLimit(answer)) {
        house_.conductor.accept(std::move(request), answer);
    }
}

void Front::commit(const BusCalls::Answer &answer) {
    if (const auto refusal = noAgent()) {
        return answer(&*refusal, 0);
    }
    const std::string why = whyNothingToCommit(house_.board.lastStatus());
    if (!why.empty()) {
        const auto nothing = host::guard::Refusal{host::Outcome::nothingToCommit, "bank", why};
        return answer(&nothing, 0);
    }
    house_.conductor.commit(answer);
}

void Front::forget(const std::string &version, const BusCalls::Answer &answer) {
    if (const auto refusal = noAgent()) {
        return answer(&*refusal, 0);
    }
    if (failedTrial(house_.board.lastStatus(), version) == nullptr) {
        const auto nothing =
            host::guard::Refusal{host::Outcome::nothingToForget, "version",
                                 host::guard::spelled(version) + " failed no trial on this node"};
        return answer(&nothing, 0);
    }
    house_.conductor.forget(version, answer);
}

void Front::changeSetting(const std::string &name, const std::string &value,
                          const BusCalls::Answer &answer) {
    host::guard::Setting setting{};
    if (const auto refusal = host::guard::checkSetting(name, value, setting)) {
        return refuse(*refusal, answer);
    }
    if (isOverItsLimit(answer)) {
        return;
    }
    house_.settings.change(
        setting, value,
        [this, setting, value, answer, caller = caller_](const std::string &whatIsWrong) {
            if (!whatIsWrong.empty()) {
                calledBy(caller);
                return refuse(
                    {host::Outcome::notKept, host::guard::settingName(setting), whatIsWrong},
                    answer);
            }
            house_.board.setSettings(house_.settings.inForce());
            tellSetting(setting, value);
            house_.root.follow();
            house_.conductor.settingsChanged();
            answer(nullptr, 0);
        });
}

// Each change, whoever else calls; the same value again is none.
void Front::tellSetting(host::guard::Setting setting, const std::string &value) {
    if (const auto told = toldSettings_.find(setting);
        told != toldSettings_.end() && told->second == value) {
        return;
    }
    toldSettings_[setting] = value;
    HistoryLine line;
    line.event = "setting-changed";
    line.reason = std::string(host::guard::settingName(setting)) + " is " + value;
    house_.chronicle.tell(line);
}

std::vector<std::pair<std::string, std::string>> Front::explain() {
    ExplainFacts facts;
    facts.now = std::time(nullptr);
    facts.agentStarted = house_.conductor.agentStarted();
    facts.waitsForPath = house_.conductor.waitsForPath();
    facts.hostCrashes = house_.conductor.hostCrashes();
    facts.hostFailure = house_.conductor.hostFailure();
    facts.restartInSeconds = house_.conductor.restartInSeconds();
    facts.lastRefusal = lastRefusal_;
    facts.plainHttpAllowed = house_.config.allowPlainHttp;
    facts.rootConfigured = !house_.config.rootHost.empty();
    facts.busConnected = house_.bus.connected();
    facts.failedSaves = house_.conductor.failedSaves();
    facts.awaitsAddress = house_.conductor.awaitsAddress();
    facts.trial = house_.conductor.trial();
    facts.healthLimitSeconds =
        house_.config.healthCommand.empty() ? 0 : house_.config.healthLimitSeconds;
    facts.refuseAfterTrials = house_.config.refuseAfterTrials;
    return explainNode(house_.board.status(), house_.book.ledger(), facts);
}

} // namespace otad
