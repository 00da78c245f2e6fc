// SPDX-License-Identifier: MIT
#include "service/judge.h"

#include "guard/version.h"
#include "service/state/trial_words.h"

namespace service {
namespace {

constexpr const char *kMarker = "/ota_act_success";

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

Judge judgeNow(const node::Config &config, const NodeStatus &status) {
    return {{.model = config.model,
             .serial = config.serial,
             .mac = status.mac,
             .longestVersion = guard::longestVersion(config.logsDirectory + kMarker)},
            rulesOf(config, status)};
}

} // namespace service
