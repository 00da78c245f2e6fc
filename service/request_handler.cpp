// SPDX-License-Identifier: MIT
#include "service/request_handler.h"

#include "guard/setting.h"
#include "service/state/line_source.h"
#include "service/state/request_check.h"
#include "service/state/trial_words.h"

#include <ctime>

namespace service {
namespace {

std::string nameOf(uid_t user) {
    return user == kNobodyKnown ? "an unknown user" : "user " + std::to_string(user);
}

} // namespace

// What is taken over is begun within moments, or its turn comes; not where nothing can begin.
std::optional<guard::Refusal> RequestHandler::noAgent() const {
    if (!services_.jobs.host().failures().cannotStart()) {
        return std::nullopt;
    }
    return guard::Refusal{base::Outcome::notReady, "node",
                          services_.jobs.host().failures().whyNotStarted()};
}

// Whatever names the node by its address is judged by the one that it has now.
std::optional<guard::Refusal> RequestHandler::noAddress() const {
    if (auto refusal = noAgent()) {
        return refusal;
    }
    services_.root.follow();
    if (!services_.board.lastStatus().mac.empty()) {
        return std::nullopt;
    }
    const bool early =
        !services_.jobs.agentStarted() && services_.jobs.host().waitsForPath().empty();
    return guard::Refusal{base::Outcome::notReady, "node",
                          early ? services_.jobs.host().failures().whyNotStarted()
                                : "the bridge br0 has no address; bring it up, then send the "
                                  "request again"};
}

Judge RequestHandler::judge() const {
    return judgeNow(services_.config, services_.board.lastStatus());
}

// Root needs no limit: whoever is root can do worse, and its own tools must not be held up.
bool RequestHandler::isOverItsLimit(const Answer &answer) {
    const std::string caller = nameOf(caller_);
    const auto now = SenderLimit::Clock::now();
    if (caller_ == 0 || requests_.admitsNow(caller, "", now)) {
        return false;
    }
    refuse({base::Outcome::tooMany, "caller",
            caller + " has sent more requests than one user may; try again in " +
                std::to_string(requests_.waitOf(caller, now).count()) + " s"},
           answer);
    return true;
}

void RequestHandler::refuse(const guard::Refusal &refusal, const Answer &answer) {
    HistoryLine line;
    line.event = "refused";
    line.outcome = refusal.outcome;
    line.reason = refusal.text();
    line.next = base::rowOf(refusal.outcome).remedy;
    // Callers may cause as many refusals as they like, each its own.
    const std::string sender = std::string(kFromTheBus) + ", " + nameOf(caller_);
    if (services_.eventLog.judge(sender, line.reason) == SenderLimit::Verdict::tell) {
        services_.eventLog.record(line);
    }
    lastRefusal_ = refusal.text();
    answer(&refusal, 0);
}

void RequestHandler::offerImage(std::string descriptor, guard::OfferFlags flags, Answer answer) {
    if (const auto refusal = noAddress()) {
        return refuse(*refusal, answer);
    }
    Request request;
    if (const auto refusal = newImageRequest(descriptor, flags, judge(), request)) {
        return refuse(*refusal, answer);
    }
    if (!isOverItsLimit(answer)) {
        services_.jobs.queue().accept(std::move(request), std::move(answer));
    }
}

void RequestHandler::triggerMobileApp(int newswavailflag, Answer answer) {
    if (const auto refusal = noAgent()) {
        return refuse(*refusal, answer);
    }
    if (!isOverItsLimit(answer)) {
        services_.jobs.queue().accept(mobileTriggerRequest(newswavailflag), std::move(answer));
    }
}

void RequestHandler::setActivationTime(std::string record, Answer answer) {
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
        services_.jobs.queue().accept(std::move(request), std::move(answer));
    }
}

void RequestHandler::cancel(std::uint64_t ticket, Answer answer) {
    services_.jobs.cancellation().cancel(ticket, std::move(answer));
}

void RequestHandler::commit(Answer answer) {
    if (const auto refusal = noAgent()) {
        return answer(&*refusal, 0);
    }
    const std::string why = whyNothingToCommit(services_.board.lastStatus());
    if (!why.empty()) {
        const auto nothing = guard::Refusal{base::Outcome::nothingToCommit, "bank", why};
        return answer(&nothing, 0);
    }
    services_.jobs.commands().commit(std::move(answer));
}

void RequestHandler::forget(std::string version, Answer answer) {
    if (const auto refusal = noAgent()) {
        return answer(&*refusal, 0);
    }
    if (failedTrial(services_.board.lastStatus(), version) == nullptr) {
        const auto nothing =
            guard::Refusal{base::Outcome::nothingToForget, "version",
                           guard::quoted(version) + " failed no trial on this node"};
        return answer(&nothing, 0);
    }
    services_.jobs.commands().forget(version, std::move(answer));
}

void RequestHandler::changeSetting(std::string name, std::string value, Answer answer) {
    guard::Setting setting{};
    if (const auto refusal = guard::checkSetting(name, value, setting)) {
        return refuse(*refusal, answer);
    }
    if (isOverItsLimit(answer)) {
        return;
    }
    services_.settings.change(
        setting, value,
        [this, setting, value, answer, caller = caller_](const base::Result<void> &kept) {
            if (!kept) {
                calledBy(caller);
                return refuse(
                    {base::Outcome::notKept, guard::settingName(setting), kept.error().text},
                    answer);
            }
            services_.board.setSettings(services_.settings.inForce());
            tellSetting(setting, value);
            services_.root.follow();
            services_.jobs.deferred().settingsChanged();
            answer(nullptr, 0);
        });
}

// Each change, whoever else calls; the same value again is none.
void RequestHandler::tellSetting(guard::Setting setting, const std::string &value) {
    if (const auto told = toldSettings_.find(setting);
        told != toldSettings_.end() && told->second == value) {
        return;
    }
    toldSettings_[setting] = value;
    services_.eventLog.record(
        {.event = "setting-changed",
         .reason = std::string(guard::settingName(setting)) + " is " + value});
}

std::vector<std::string> RequestHandler::history(std::uint32_t count) {
    return services_.history.newest(count);
}

const NodeStatus &RequestHandler::status() { return services_.board.status(); }

std::vector<std::pair<std::string, std::string>> RequestHandler::explain() {
    ExplainFacts facts;
    facts.now = std::time(nullptr);
    facts.agentStarted = services_.jobs.agentStarted();
    facts.waitsForPath = services_.jobs.host().waitsForPath();
    facts.hostCrashes = services_.jobs.host().failures().crashes();
    facts.hostFailure = services_.jobs.host().failures().last();
    facts.restartInSeconds = services_.jobs.host().restartInSeconds();
    facts.lastRefusal = lastRefusal_;
    facts.plainHttpAllowed = services_.config.allowPlainHttp;
    facts.rootConfigured = !services_.config.rootHost.empty();
    facts.busConnected = services_.bus.connected();
    facts.failedSaves = services_.jobs.failedSaves();
    facts.awaitsAddress = services_.jobs.awaitsAddress();
    facts.trial = services_.jobs.trial().now();
    facts.healthLimitSeconds =
        services_.config.healthCommand.empty() ? 0 : services_.config.healthLimitSeconds;
    facts.refuseAfterTrials = services_.config.refuseAfterTrials;
    return explainNode(services_.board.status(), services_.book.ledger(), facts);
}

} // namespace service
