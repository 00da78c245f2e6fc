// SPDX-License-Identifier: MIT
#include "service/state/request_check.h"

#include "base/agent_mark.h"
#include "base/json.h"
#include "base/lib_config.h"
#include "guard/activation_record.h"
#include "guard/strict_json.h"
#include "guard/time_of_day.h"
#include "guard/version.h"
#include "platform/timers.h"
#include "service/state/agent_memory_text.h"
#include "service/state/trial_words.h"

#include <algorithm>
#include <array>

namespace service {
namespace {

using guard::NodeIdentity;
using guard::OfferFlags;
using guard::Refusal;
using guard::StrictObject;

constexpr const char *kDescriptor = "descriptor";
constexpr const char *kRecord = "record";
constexpr const char *kConfig = "config";
constexpr const char *kFlag = "newswavailflag";
constexpr const char *kName = "name";

std::string printedEvent(const char *kind, const char *key, const std::string &value) {
    return base::printed(base::message({{"event", kind}, {key, value}}).get());
}

// The agent itself compares addresses once more before it takes an offer.
NodeIdentity withAnyMac(NodeIdentity node, const cJSON *object) {
    if (node.mac.empty()) {
        node.mac = base::textOf(object, "mac");
    }
    return node;
}

std::optional<Refusal> mistyped(const char *field, const std::string &why) {
    return Refusal{base::Outcome::keyMistyped, field, why};
}

std::optional<Refusal> newImageAgain(const StrictObject &event, const cJSON *tree,
                                     const Judge &judge, Request &anew) {
    std::string descriptor;
    if (auto refusal = event.takeText(kDescriptor, StrictObject::kMaxText, descriptor)) {
        return refusal;
    }
    const auto config = base::takeLibConfig(tree, kConfig);
    if (!config) {
        return mistyped(kConfig, config.error().text);
    }
    const base::Json object = base::parseObject(descriptor);
    return newImageRequest(descriptor,
                           {config->OffloadDownloadActivate, config->initial_obardingStatus,
                            config->firsttime_polling},
                           {withAnyMac(judge.node, object.get()), judge.rules}, anew);
}

std::optional<Refusal> activationTimeAgain(const StrictObject &event, const Judge &judge,
                                           Request &anew) {
    std::string record;
    if (auto refusal = event.takeText(kRecord, StrictObject::kMaxText, record)) {
        return refusal;
    }
    const base::Json object = base::parseObject(record);
    return activationTimeRequest(record, withAnyMac(judge.node, object.get()), anew);
}

std::optional<Refusal> triggerAgain(const StrictObject &event, Request &anew) {
    int flag = 0;
    if (auto refusal = event.takeWholeNumber(kFlag, flag)) {
        return refusal;
    }
    anew = mobileTriggerRequest(flag);
    return std::nullopt;
}

std::optional<Refusal> timerAgain(const StrictObject &event, const Request &kept, Request &anew) {
    std::string name;
    if (auto refusal = event.takeText(kName, StrictObject::kMaxText, name)) {
        return refusal;
    }
    if (!isTimerOfTheAgent(name)) {
        return mistyped(kName, guard::quoted(name) + " is no timer of the agent");
    }
    anew = timerRequest(name);
    anew.version = kept.version;
    anew.policy = kept.policy;
    return std::nullopt;
}

// What a start-up of the agent leaves: no image was offered yet.
bool holdsNoImage(const cJSON *item) {
    constexpr std::array kTexts{"model", "nxtMSVersion", "fileServerURL", "checksum", "mac"};
    return std::all_of(kTexts.begin(), kTexts.end(),
                       [&](const char *key) { return base::textOf(item, key).empty(); });
}

guard::Rules rulesOf(const node::Config &config, const NodeStatus &status) {
    guard::Rules rules{config.allowPlainHttp, config.lowestVersion, {}};
    for (const FailedTrial &failed : status.failedVersions) {
        if (failed.refused) {
            rules.refusedVersions.push_back(
                {failed.version, "failed its trial on this node " +
                                     times(static_cast<int>(failed.trials)) + ": " +
                                     failureWords(failed.reason)});
        }
    }
    return rules;
}

} // namespace

std::optional<Refusal> newImageRequest(std::string_view descriptor, const OfferFlags &flags,
                                       const Judge &judge, Request &request) {
    guard::Offer offer;
    if (auto refusal = guard::checkOffer(descriptor, judge.node, judge.rules, offer)) {
        return refusal;
    }
    if (auto refusal = guard::checkFlags(flags)) {
        return refusal;
    }
    const base::Json event = base::message({{"event", kNewImage}, {kDescriptor, offer.descriptor}});
    base::add(event.get(), kConfig,
              base::printLibConfig({static_cast<std::uint8_t>(flags.offload),
                                    flags.initialOnboarding, flags.firstPolling}));
    request = {0, kNewImage, base::printed(event.get()), offer.version, offer.policy};
    return std::nullopt;
}

std::optional<Refusal> activationTimeRequest(std::string_view record, const NodeIdentity &node,
                                             Request &request) {
    guard::ActivationRecord activation;
    if (auto refusal = guard::checkActivationTime(record, node, activation)) {
        return refusal;
    }
    request = {0, kActivationTime, printedEvent(kActivationTime, kRecord, activation.record), "",
               0};
    return std::nullopt;
}

bool namesTheNode(const Request &request) {
    if (request.kind != kActivationTime) {
        return request.kind == kNewImage;
    }
    const base::Json event = base::parseObject(request.event);
    const base::Json record = base::parseObject(base::textOf(event.get(), kRecord));
    return !base::textOf(record.get(), "mac").empty();
}

Request mobileTriggerRequest(int newswavailflag) {
    const base::Json event = base::message({{"event", kMobileTrigger}});
    base::add(event.get(), kFlag, newswavailflag);
    return {0, kMobileTrigger, base::printed(event.get()), "", 0};
}

Request timerRequest(const std::string &name) {
    return {0, kTimer, printedEvent(kTimer, kName, name), "", 0};
}

bool isTimerOfTheAgent(std::string_view name) {
    return name == TIMER_REBOOT || name == TIMER_DOWNLOAD_START || name == TIMER_DOWNLOAD_RETRY;
}

std::optional<Refusal> checkAgain(const Request &kept, const Judge &judge, Request &anew) {
    StrictObject event;
    if (auto refusal = event.read(kept.event, "request")) {
        return refusal;
    }
    std::string kind;
    if (auto refusal = event.takeText("event", StrictObject::kMaxText, kind)) {
        return refusal;
    }
    if (kind != kept.kind) {
        return mistyped("event", guard::quoted(kind) + " is kept as " + guard::quoted(kept.kind));
    }
    Request made;
    const base::Json tree = base::parseObject(kept.event);
    auto refusal = kind == kNewImage         ? newImageAgain(event, tree.get(), judge, made)
                   : kind == kMobileTrigger  ? triggerAgain(event, made)
                   : kind == kActivationTime ? activationTimeAgain(event, judge, made)
                                             : timerAgain(event, kept, made);
    if (!refusal) {
        anew = std::move(made);
        anew.ticket = kept.ticket;
    }
    return refusal;
}

std::optional<Refusal> checkRememberedImage(const std::string &memory, const Judge &judge) {
    const base::Json object = base::parseObject(memory);
    const cJSON *const item = base::itemOf(object.get(), "swInfo");
    if (holdsNoImage(item)) {
        return std::nullopt;
    }
    guard::Offer offer;
    return guard::checkOffer(base::printed(item), withAnyMac(judge.node, item), judge.rules, offer);
}

std::optional<Refusal> checkRememberedTimes(const std::string &memory, const Judge &judge) {
    const base::Json object = base::parseObject(memory);
    const cJSON *const record = base::itemOf(object.get(), "swActTime");
    guard::ActivationRecord activation;
    if (record != nullptr) {
        if (auto refusal = guard::checkActivationTime(base::printed(record),
                                                      withAnyMac(judge.node, record), activation)) {
            return refusal;
        }
    }
    const std::string rebootTime = base::textOf(object.get(), "g_rebootTime");
    if (!rebootTime.empty() && !guard::isTimeOfDay(rebootTime)) {
        return Refusal{base::Outcome::timeMalformed, "g_rebootTime",
                       guard::quoted(rebootTime) + " is not a time of day"};
    }
    return std::nullopt;
}

Judge judgeNow(const node::Config &config, const NodeStatus &status) {
    return {{.model = config.model,
             .serial = config.serial,
             .mac = status.mac,
             .longestVersion = guard::longestVersion(config.logsDirectory + base::kActivationMark)},
            rulesOf(config, status)};
}

} // namespace service
