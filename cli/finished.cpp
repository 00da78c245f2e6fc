// SPDX-License-Identifier: MIT
#include "cli/finished.h"

#include "cli/json_output.h"

namespace cli {

bool hasReason(const Finished &end) {
    return !end.reasonCode.empty() && end.reasonCode != base::rowOf(base::Reason::none).name;
}

void addEnd(cJSON *object, const Finished &end) {
    add(object, "ticket", end.ticket);
    add(object, "code", end.code);
    add(object, "result", end.result);
    add(object, "reason_code", end.reasonCode);
    add(object, "reason", end.reason);
}

} // namespace cli
