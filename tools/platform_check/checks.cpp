// SPDX-License-Identifier: MIT
#include "tools/platform_check/check.h"

#include <array>

namespace check {

std::vector<const Check *> allChecks() {
    const std::array groups{loadChecks(),  directoryChecks(),  identityChecks(), loggerChecks(),
                            tableChecks(), processChecks(),    hostCallChecks(), timerChecks(),
                            writeChecks(), activationChecks(), leakChecks(),     trialChecks(),
                            killChecks()};
    std::vector<const Check *> all;
    for (const std::span<const Check> group : groups) {
        all.reserve(all.size() + group.size());
        for (const Check &check : group) {
            all.push_back(&check);
        }
    }
    return all;
}

} // namespace check
