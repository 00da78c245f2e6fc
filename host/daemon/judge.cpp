// SPDX-License-Identifier: MIT
// By what requests are judged on this node, now.
#include "host/daemon/judge.h"

#include "host/daemon/keep/trial_words.h"
#include "host/guard/version.h"

namespace otad {
namespace {

constexpr const char *kMarker = "/ota_act_success";

host::guard::Rules rulesOf(const nal::Config &config, const NodeStatus &status) {
    host::guard::Rules rules{config.allowPlainHttp, config.lowestVersion, {}};
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

Judge judgeNow(const nal::Config &config, const NodeStatus &status) {
    return {{.model = config.model,
             .serial = config.serial,
             .mac = status.mac,
             .longestVersion = host::guard::longestVersion(config.logsDirectory + kMarker)},
            rulesOf(config, status)};
}

} // namespace otad
