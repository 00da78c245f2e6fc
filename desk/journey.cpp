// SPDX-License-Identifier: MIT
// Steps of a road, reboots and power cuts.
#include "desk/journey.h"

#include "desk/failure.h"
#include "desk/files.h"
#include "desk/sizes.h"

#include "base/message.h"
#include "base/terminal.h"

#include <algorithm>
#include <ctime>
#include <poll.h>
#include <thread>

namespace desk {
namespace {

using namespace std::chrono_literals;

// Seconds from now to the activation time that is set.
constexpr int kActivationDelay = 5;
constexpr int kFastActivationDelay = 3;

constexpr auto kLookEvery = 60ms;
// The handler goes on behind its reboot command until the system goes down.
constexpr auto kQuietAtReboot = 500ms;
constexpr auto kRebootTakes = 3s;
constexpr auto kDrainLimit = 3s;
constexpr auto kRootLimit = 10s;
constexpr auto kWindowLimit = 10s;

std::string upper(const char *bank) {
    return std::string("bank ") + static_cast<char>(*bank - 'a' + 'A');
}

std::string wrongSum(std::string sum) {
    sum[0] = sum[0] == '0' ? '1' : '0';
    return sum;
}

} // namespace

Journey::Journey(const Scene &scene, const Traveller &traveller, Display &display, Raised reported,
                 Raised handedOver)
    : scene_(scene), traveller_(traveller), display_(display), reported_(std::move(reported)),
      handedOver_(std::move(handedOver)),
      service_(scene.layout, traveller.folder, traveller.identity.mac,
               {.log = traveller.log,
                .fast = scene.fast,
                .fileLimit = traveller.takesRoad ? scene.road.nodeFileLimit : 0,
                .cutAt = scene.options.cutPowerAt},
               scene.interrupt),
      log_(traveller.log) {
    if (traveller.takesRoad) {
        steps_ = scene.road.steps;
    }
}

void Journey::boot() {
    const NodeBoot boot = service_.boot();
    for (const std::string &line : boot.passedOver) {
        display_.step("boot loader", line);
    }
    const node::BootState &state = boot.state;
    witness_.boots.push_back(state.of(state.active).version);
    display_.step("boot", witness_.boots.back() + " from " + upper(node::bankName(state.active)));
    nextLook_ = {};
    isReady_ = isSettled_ = isIdle_ = false;
}

void Journey::turn() {
    takeEvents();
    if (service_.powerIsCut()) {
        return afterTheCut();
    }
    if (!rebootAsked_ && std::filesystem::exists(traveller_.folder.rebootAsked())) {
        rebootAsked_ = Clock::now();
    }
    if (rebootAsked_) {
        rebootOnceQuiet();
    } else if (cutPending_ && traveller_.folder.downloadedBytes() > 0) {
        cutPower();
    }
}

// Asks the node how it stands, unless that was just done; true where the answer is new.
bool Journey::look() {
    if (rebootAsked_ || Clock::now() < nextLook_) {
        return false;
    }
    const base::Json status = service_.control().status();
    nextLook_ = Clock::now() + kLookEvery;
    const std::string stage = base::textOf(status.get(), "stage");
    const cJSON *const timers = cJSON_GetObjectItemCaseSensitive(status.get(), "timers");
    const cJSON *const root = cJSON_GetObjectItemCaseSensitive(status.get(), "root_connected");
    isReady_ =
        !base::textOf(status.get(), "mac").empty() && (!scene_.hasRoot || cJSON_IsTrue(root) != 0);
    const bool timersRun = cJSON_GetArraySize(timers) > 0;
    isIdle_ =
        isReady_ && stage == "idle" && !timersRun && base::numberOf(status.get(), "queued") == 0;
    // An agent that waits for something else than a timer has not started yet.
    isSettled_ = isIdle_ || (isReady_ && stage == "waiting" && timersRun &&
                             base::numberOf(status.get(), "queued") == 0);
    return true;
}

bool Journey::ready() {
    look();
    return isReady_;
}

void Journey::goOn() {
    if (over_ || !look() || !isSettled_) {
        return;
    }
    if (!steps_.empty()) {
        const Step step = steps_.front();
        if (!mayTake(step)) {
            return;
        }
        steps_.erase(steps_.begin());
        take(step);
        nextLook_ = Clock::now() + kLookEvery;
        return;
    }
    over_ =
        isIdle_ && open_.empty() && isProven() && !offerAgain() && wordsArrived() && !cutAtTheEnd();
}

// A power cut takes the tickets away that would tell when a trial is over.
bool Journey::isProven() const {
    return !witness_.powerCut || (!traveller_.folder.bootState().trial &&
                                  !std::filesystem::exists(traveller_.folder.mark()));
}

// The agent arms its timer first; its file for the mobile app is there a moment later.
bool Journey::mayTake(Step step) {
    if (step != Step::mobileTrigger || !readFile(traveller_.folder.agentData()).empty()) {
        return true;
    }
    if (!windowDue_) {
        windowDue_ = Clock::now() + kWindowLimit;
    }
    return Clock::now() > *windowDue_;
}

// A word that the gateway does not raise in time is for the verdict to tell.
bool Journey::wordsArrived() {
    if (!endedAt_) {
        endedAt_ = Clock::now();
    }
    return !scene_.hasRoot || traveller_.gateway() ||
           witness_.atTheRoot.size() >= witness_.words.size() ||
           Clock::now() > *endedAt_ + kRootLimit;
}

// The change at which the power is to go may be one of the last, when the node goes down.
bool Journey::cutAtTheEnd() {
    if (!scene_.road.cutsAtACall || witness_.powerCut || !service_.shutDown()) {
        return false;
    }
    afterTheCut();
    return true;
}

void Journey::end() {
    service_.shutDown();
    drain();
    witness_.changes = service_.changes();
}

void Journey::take(Step step) {
    switch (step) {
    case Step::offer:
        return offer(scene_.server.imageUrl());
    case Step::offerThenCut:
        cutPending_ = true;
        return offer(scene_.server.slowImageUrl());
    case Step::mobileTrigger:
        return trigger();
    case Step::activationTime:
        return moveActivationTime();
    case Step::damageBank:
        return damageBank();
    }
}

void Journey::damageBank() {
    traveller_.folder.damagePassiveBank();
    display_.step("damage", "a byte of the passive bank changes, nobody is told");
}

void Journey::offer(const std::string &url) {
    const std::string &mac = traveller_.identity.mac;
    const int policy = scene_.options.policy;
    display_.step("offer",
                  std::string(kNewVersion) + " for " + mac + ", policy " + std::to_string(policy));
    display_.more(url);
    const std::string sum = md5Of(scene_.image.path);
    const base::Json descriptor =
        base::message({{"model", kModel},
                       {"nxtMSVersion", kNewVersion},
                       {"fileServerURL", url},
                       {"checksum", scene_.road.wrongChecksum ? wrongSum(sum) : sum},
                       {"mac", mac}});
    cJSON_AddNumberToObject(descriptor.get(), "policy", policy);
    const std::filesystem::path file = traveller_.folder.path() / "descriptor.json";
    writeFile(file, base::printed(descriptor.get()) + "\n");
    std::vector<std::string> words{"offer", file.filename().string()};
    if (scene_.road.offload) {
        words.emplace_back("--offload");
    }
    if (scene_.road.firstPoll) {
        words.emplace_back("--first-poll");
    }
    try {
        open_.insert(service_.control().hand(words));
    } catch (const Failure &) {
        if (!service_.powerIsCut()) {
            throw;
        }
        afterTheCut();
    }
}

void Journey::trigger() {
    const std::string data = readFile(traveller_.folder.agentData());
    if (data.empty()) {
        throw Failure("no window opened: " + traveller_.folder.agentData().string() +
                      " is not there");
    }
    std::string shown = data;
    for (std::size_t end = 0; (end = shown.find('\n', end)) != std::string::npos;) {
        shown.replace(end, 1, " | ");
    }
    display_.step("agent data", shown + "  (waiting | running | offered, for the mobile app)");
    display_.step("mobile app", "the user says: now");
    open_.insert(service_.control().hand({"trigger"}));
}

void Journey::moveActivationTime() {
    const int delay = scene_.fast ? kFastActivationDelay : kActivationDelay;
    activationAt_ = std::time(nullptr) + delay;
    const std::string at = base::timeOfDay(*activationAt_);
    display_.step("activation", "moved to " + at + ", " + std::to_string(delay) + " s from now");
    open_.insert(service_.control().hand({"activate-at", at}));
}

void Journey::rebootOnceQuiet() {
    const auto now = Clock::now();
    const bool quiet = now > std::max(*rebootAsked_, lastEvent_) + kQuietAtReboot;
    if (!quiet && now < *rebootAsked_ + kRebootTakes) {
        return;
    }
    if (scene_.road.damageAtReboot) {
        damageBank();
    }
    display_.step("reboot", "the node goes down");
    if (service_.shutDown()) {
        return afterTheCut();
    }
    drain();
    rebootAsked_.reset();
    boot();
}

void Journey::cutPower() {
    cutPending_ = false;
    const std::uintmax_t bytes = traveller_.folder.downloadedBytes();
    service_.cutPower();
    drain();
    display_.step("power cut", "in the middle of the download, after " + readableSize(bytes));
    const node::BootState state = traveller_.folder.bootState();
    if (state.of(node::otherBank(state.active)).whole) {
        throw Failure("the power was cut in a download, yet the passive bank is marked as whole");
    }
    scene_.server.endCrawl();
    witness_.powerCut = true;
    boot();
}

// The node finds out by itself how far it came; what it had not kept is gone.
void Journey::afterTheCut() {
    constexpr int kOffers = 2;
    drain();
    rebootAsked_.reset();
    const std::string call = service_.cutAt();
    display_.step("power cut", "at change " + std::to_string(scene_.options.cutPowerAt) + ", " +
                                   call.substr(std::min(call.find(' ') + 1, call.size())));
    display_.more("what was not synced by then is gone");
    open_.clear();
    offersLeft_ = kOffers;
    witness_.powerCut = true;
    boot();
}

// As the server does that polls on: true where the node is idle and the new version does not run.
bool Journey::offerAgain() {
    const node::BootState state = traveller_.folder.bootState();
    if (offersLeft_ == 0 || state.of(state.active).version == kNewVersion) {
        return false;
    }
    --offersLeft_;
    take(Step::offer);
    nextLook_ = Clock::now() + kLookEvery;
    return true;
}

// Until the end of the daemon shows: what it said before came before.
void Journey::drain() {
    const auto deadline = Clock::now() + kDrainLimit;
    while (running_ && Clock::now() < deadline) {
        takeEvents();
        scene_.interrupt.check();
        std::this_thread::sleep_for(5ms);
    }
}

} // namespace desk
