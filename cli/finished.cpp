// SPDX-License-Identifier: MIT
#include "cli/finished.h"

#include "base/json_output.h"

namespace cli {

bool hasReason(const Finished &end) {
    return !end.reasonCode.empty() && end.reasonCode != base::rowOf(base::Reason::none).name;
}

void addEnd(cJSON *object, const Finished &end) {
    base::add(object, "ticket", end.ticket);
    base::add(object, "code", end.code);
    base::add(object, "result", end.result);
    base::add(object, "reason_code", end.reasonCode);
    base::add(object, "reason", end.reason);
}

} // namespace cli
