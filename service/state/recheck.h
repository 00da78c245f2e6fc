// SPDX-License-Identifier: MIT
// Whatever a start takes up passes the guard once more, or ends.
#ifndef SERVICE_STATE_RECHECK_H
#define SERVICE_STATE_RECHECK_H

#include "service/state/request_check.h"
#include "service/state/resume.h"

namespace service {

/*
 * Takes out of the plan what may not reach the agent: the call to redo, the waiting offer, the
 * timers and the memory. Requests end with the refusal's outcome and words; an offer takes all
 * along that would have worked for it. The queue is not looked at: each of it has its turn.
 */
void recheck(ResumePlan &plan, const Judge &judge);

} // namespace service

#endif
