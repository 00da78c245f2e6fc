// SPDX-License-Identifier: MIT
// One row a road: the options that choose it, node, offer, expected words and end.
#include "desk/roads.h"

#include "desk/image.h"
#include "desk/sizes.h"

#include "otaSwAgent/status_words.h"

#include <algorithm>
#include <map>

namespace desk {
namespace {

constexpr int kAttempts = 7;

const std::vector<Road> kRoads{
    {.name = "policy-0",
     .selector = "",
     .policies = "0",
     .steps = {Step::offer, Step::activationTime},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_COMPLETE},
     .end = End::committed,
     .ending = "activated at the activation time and committed"},
    {.name = "policy-1",
     .selector = "",
     .policies = "1",
     .steps = {Step::offer},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_COMPLETE},
     .end = End::committed,
     .ending = "activated at once and committed"},
    {.name = "policy-2",
     .selector = "",
     .policies = "2",
     .steps = {Step::offer},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE},
     .end = End::written,
     .ending = "written to the passive bank only, as policy 2 asks; nothing was activated"},
    // The handler goes on behind its reboot command and finds the image in the passive bank.
    {.name = "policy-3",
     .selector = "",
     .policies = "3",
     .passiveHoldsImage = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_ACTIVATION_REBOOT_COMPLETE, OTA_STATUS_SWAP_PASSIVE},
     .end = End::switched,
     .ending = "activated on arrival; policy 3 leaves no mark, so nothing is committed"},
    {.name = "offload",
     .selector = "--offload",
     .policies = "012",
     .offload = true,
     .steps = {Step::offer},
     .words = {},
     .end = End::notWhole,
     .ending = "handed over to the gateway; the node itself downloaded nothing"},
    {.name = "first-poll",
     .selector = "--first-poll",
     .policies = "0",
     .gatewayOnly = true,
     .firstPoll = true,
     .steps = {Step::offer, Step::mobileTrigger, Step::activationTime},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_COMPLETE},
     .end = End::committed,
     .ending = "triggered by the mobile app, activated at the activation time and committed"},
    {.name = "first-poll",
     .selector = "--first-poll",
     .policies = "1",
     .gatewayOnly = true,
     .firstPoll = true,
     .steps = {Step::offer, Step::mobileTrigger},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_COMPLETE},
     .end = End::committed,
     .ending = "triggered by the mobile app and committed"},
    {.name = "first-poll",
     .selector = "--first-poll",
     .policies = "2",
     .gatewayOnly = true,
     .firstPoll = true,
     .steps = {Step::offer, Step::mobileTrigger},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE},
     .end = End::written,
     .ending = "triggered by the mobile app and written to the passive bank only"},
    {.name = "power-cut",
     .selector = "--power-cut",
     .policies = "1",
     .steps = {Step::offerThenCut},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_COMPLETE},
     .boots = {kOldVersion, kOldVersion, kNewVersion},
     .end = End::committed,
     .ending = "lost power, took the download up again by itself and committed"},
    // Which words come, and how often, depends on where the power goes.
    {.name = "cut-power",
     .selector = "--cut-power",
     .policies = "1",
     .gatewayOnly = true,
     .cutsAtACall = true,
     .steps = {Step::offer},
     .words = {},
     .end = End::committed,
     .ending = "lost power at that very call, and committed all the same"},
    {.name = "mesh",
     .selector = "--mesh",
     .policies = "0",
     .mesh = true,
     .steps = {Step::offer, Step::activationTime},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_COMPLETE},
     .end = End::committed,
     .ending = "all three activated at the activation time and committed; the root knows"},
    {.name = "mesh",
     .selector = "--mesh",
     .policies = "1",
     .mesh = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_COMPLETE},
     .end = End::committed,
     .ending = "all three activated at once and committed; the root knows"},
    {.name = "fail-checksum",
     .selector = "--fail checksum",
     .policies = "012",
     .wrongChecksum = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_CRC_CHECK_FAILED},
     .end = End::notWhole,
     .ending = "refused: the image's checksum is not the one offered"},
    {.name = "fail-flash",
     .selector = "--fail flash",
     .policies = "012",
     .smallBanks = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_FLASH_WRITE_FAILED},
     .because = "the bank banks/b only",
     .end = End::notWhole,
     .ending = "refused: the image does not fit the bank"},
    // Damaged while the reboot timer runs; its end finds out.
    {.name = "fail-activate",
     .selector = "--fail activate",
     .policies = "0",
     .steps = {Step::offer, Step::damageBank, Step::activationTime},
     .words = {OTA_STATUS_ACTIVATION_FAILED},
     .because = "is damaged",
     .end = End::notWhole,
     .ending = "refused: the passive bank is damaged, the old version runs on"},
    {.name = "fail-activate",
     .selector = "--fail activate",
     .policies = "1",
     .passiveHoldsImage = true,
     .steps = {Step::damageBank, Step::offer},
     .words = {OTA_STATUS_SWAP_PASSIVE, OTA_STATUS_ACTIVATION_FAILED},
     .because = "is damaged",
     .end = End::notWhole,
     .ending = "refused: the passive bank is damaged, the old version runs on"},
    {.name = "fail-boot",
     .selector = "--fail boot",
     .policies = "1",
     .damageAtReboot = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_FAILED},
     .boots = {kOldVersion, kOldVersion},
     .trialFails = node::TrialFailure::boot,
     .end = End::notWhole,
     .ending = "not committed: the new version does not boot, its attempts are used up, the old "
               "version boots again"},
    {.name = "fail-health",
     .selector = "--fail health",
     .policies = "1",
     .unhealthy = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_FAILED},
     .boots = {kOldVersion, kNewVersion, kOldVersion},
     .trialFails = node::TrialFailure::health,
     .end = End::written,
     .ending = "not committed: the new version is not healthy, the old version boots again"},
    {.name = "fail-server",
     .selector = "--fail server",
     .policies = "012",
     .alwaysFast = true,
     .serverRefuses = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_RECONNECT},
     .failedDownloads = kAttempts,
     .because = "the server answers 503",
     .end = End::notWhole,
     .ending = "gave up after seven attempts: the server answers 503"},
    {.name = "fail-certificate",
     .selector = "--fail certificate",
     .policies = "012",
     .alwaysFast = true,
     .strangeAuthority = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_RECONNECT},
     .failedDownloads = kAttempts,
     .because = "certificate",
     .end = End::notWhole,
     .ending = "gave up after seven attempts: the server's certificate is of another CA"},
    {.name = "fail-version",
     .selector = "--fail version",
     .policies = "012",
     .passiveHoldsOld = true,
     .otherVersionInside = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_FLASH_WRITE_FAILED},
     .because = "is not the one that was offered",
     .end = End::untouched,
     .ending = "refused: the image is of another version than the one offered"},
    {.name = "fail-signature",
     .selector = "--fail signature",
     .policies = "012",
     .passiveHoldsOld = true,
     .strangeSigner = true,
     .steps = {Step::offer},
     .words = {OTA_STATUS_FLASH_WRITE_FAILED},
     .because = "is not of an authority",
     .end = End::untouched,
     .ending = "refused: the image is signed by one whom the node does not trust"},
    {.name = "fail-disk",
     .selector = "--fail disk",
     .policies = "012",
     .alwaysFast = true,
     .nodeFileLimit = 4 * kMiB,
     .steps = {Step::offer},
     .words = {OTA_STATUS_RECONNECT},
     .failedDownloads = kAttempts,
     .because = "Failed writing received data",
     .end = End::notWhole,
     .ending = "gave up after seven attempts: the disk is full"},
};

std::vector<std::string> selectorsOf(const Options &options) {
    std::vector<std::string> selectors;
    if (options.offload) {
        selectors.emplace_back("--offload");
    }
    if (options.firstPoll) {
        selectors.emplace_back("--first-poll");
    }
    if (options.powerCut) {
        selectors.emplace_back("--power-cut");
    }
    if (options.cutPowerAt != 0) {
        selectors.emplace_back("--cut-power");
    }
    if (options.mesh) {
        selectors.emplace_back("--mesh");
    }
    if (!options.fail.empty()) {
        selectors.push_back("--fail " + options.fail);
    }
    return selectors;
}

std::string listed(std::string_view policies) {
    std::string text;
    for (const char policy : policies) {
        text += (text.empty() ? "" : ", ") + std::string(1, policy);
    }
    return text;
}

} // namespace

std::string combinations() {
    std::string text =
        "  two of --offload, --first-poll, --power-cut, --cut-power, --mesh and --fail\n"
        "  --mesh and --mode, --role or --node-conf\n";
    std::map<std::string_view, std::string> policies; // that a selector goes with
    std::vector<const Road *> selectors;
    for (const Road &road : kRoads) {
        if (!policies.contains(road.selector) && !road.selector.empty()) {
            selectors.push_back(&road);
        }
        policies[road.selector] += road.policies;
    }
    for (const Road *const road : selectors) {
        std::string others;
        for (const char policy : std::string_view("0123")) {
            others += policies[road->selector].find(policy) == std::string::npos
                          ? std::string(1, policy)
                          : "";
        }
        text += "  " + std::string(road->selector) + " and --policy " + listed(others) +
                (road->gatewayOnly ? ", or an extender" : "") +
                (road->strangeAuthority ? ", or --plain-http" : "") + "\n";
    }
    return text;
}

const Road &chooseRoad(const Options &options) {
    const std::string help = "; see ota-desk demo --help";
    const std::vector<std::string> selectors = selectorsOf(options);
    if (selectors.size() > 1) {
        throw OptionError(selectors[0] + " and " + selectors[1] + " do not go together" + help);
    }
    const std::string selector = selectors.empty() ? "" : selectors.front();
    const char policy = static_cast<char>('0' + options.policy);
    std::string allowed;
    for (const Road &road : kRoads) {
        if (road.selector != selector) {
            continue;
        }
        if (road.policies.find(policy) == std::string_view::npos) {
            allowed += road.policies;
            continue;
        }
        if (road.gatewayOnly && !options.gateway()) {
            throw OptionError(selector +
                              " is a gateway's road: use --mode RGW or --role Controller" + help);
        }
        if (road.strangeAuthority && options.plainHttp) {
            throw OptionError(selector + " needs https: leave --plain-http out" + help);
        }
        return road;
    }
    throw OptionError(selector + " does not go with --policy " + policy + ", only with " +
                      listed(allowed) + help);
}

} // namespace desk
