// SPDX-License-Identifier: MIT
// The end of a request, printed as JSON.
#ifndef CLI_FINISHED_H
#define CLI_FINISHED_H

#include "base/end.h"
#include "base/json.h"

namespace cli {

using Finished = base::End;

/* Its outcome has one that says more. */
bool hasReason(const Finished &end);

/* Adds ticket, code, result, reason_code and reason. */
void addEnd(cJSON *object, const Finished &end);

} // namespace cli

#endif
