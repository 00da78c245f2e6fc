// SPDX-License-Identifier: MIT
// What the bus asks: judged by the guard, then handed on.
#include "host/daemon/front.h"

#include "host/daemon/judge.h"
#include "host/daemon/keep/line_source.h"
#include "host/daemon/keep/trial_words.h"
#include "host/guard/setting.h"

#include <ctime>

namespace otad {
// Whatever names the node by its address is judged by the one that it has now.
std::optional<host::guard::Refusal> Front::noAddress() const {
    house_.root.follow();
    if (!house_.board.lastStatus().mac.empty()) {
        return std::nullopt;
    }
    const bool early = !house_.conductor.agentStarted() && house_.conductor.waitsForPath().empty();
    return host::guard::Refusal{host::Outcome::notReady, "node",
                                early ? "the agent is starting"
                                      : "the bridge br0 has no address; bring it up, then send the "
                                        "request again"};
}

Judge Front::judge() const { return judgeNow(house_.config, house_.board.lastStatus()); }

// Callers may cause as many lines as they like.
void Front::tell(const HistoryLine &line) {
    if (house_.chronicle.judge(kFromTheBus, line.reason) == SenderLimit::Verdict::tell) {
        house_.chronicle.tell(line);
    }
}

void Front::refuse(const host::guard::Refusal &refusal, const BusCalls::Answer &answer) {
    HistoryLine line;
    line.event = "refused";
    line.outcome = refusal.outcome;
    line.reason = refusal.text();
    line.next = host::rowOf(refusal.outcome).remedy;
    tell(line);
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
    house_.conductor.accept(std::move(request), answer);
}

void Front::triggerMobileApp(int newswavailflag, const BusCalls::Answer &answer) {
    house_.conductor.accept(mobileTriggerRequest(newswavailflag), answer);
}

void Front::setActivationTime(const std::string &record, const BusCalls::Answer &answer) {
    const auto unknown = noAddress();
    Request request;
    if (const auto refusal = activationTimeRequest(record, judge().node, request)) {
        // A record that names no node by its address does not wait for this one's.
        return refuse(unknown && refusal->field == "mac" ? *unknown : *refusal, answer);
    }
    house_.conductor.accept(std::move(request), answer);
}

void Front::commit(const BusCalls::Answer &answer) {
    const std::string why = whyNothingToCommit(house_.board.lastStatus());
    if (!why.empty()) {
        const auto nothing = host::guard::Refusal{host::Outcome::nothingToCommit, "bank", why};
        return answer(&nothing, 0);
    }
    house_.conductor.commit(answer);
}

void Front::forget(const std::string &version, const BusCalls::Answer &answer) {
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
    house_.settings.change(
        setting, value, [this, setting, value, answer](const std::string &whatIsWrong) {
            if (!whatIsWrong.empty()) {
                return refuse(
                    {host::Outcome::notKept, host::guard::settingName(setting), whatIsWrong},
                    answer);
            }
            house_.board.setSettings(house_.settings.inForce());
            HistoryLine line;
            line.event = "setting-changed";
            line.reason = std::string(host::guard::settingName(setting)) + " is " + value;
            tell(line);
            house_.root.follow();
            house_.conductor.settingsChanged();
            answer(nullptr, 0);
        });
}

std::vector<std::pair<std::string, std::string>> Front::explain() {
    ExplainFacts facts;
    facts.now = std::time(nullptr);
    facts.agentStarted = house_.conductor.agentStarted();
    facts.waitsForPath = house_.conductor.waitsForPath();
    facts.hostCrashes = house_.conductor.hostCrashes();
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
