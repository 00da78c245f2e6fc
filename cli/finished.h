// SPDX-License-Identifier: MIT
// The end of a request, printed as JSON.
#ifndef CLI_FINISHED_H
#define CLI_FINISHED_H

#include "host/end.h"
#include "host/json.h"

namespace otactl {

using Finished = host::End;

/* Its outcome has one that says more. */
bool hasReason(const Finished &end);

/* Adds ticket, code, result, reason_code and reason. */
void addEnd(cJSON *object, const Finished &end);

} // namespace otactl

#endif
