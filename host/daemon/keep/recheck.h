// SPDX-License-Identifier: MIT
// Whatever a start takes up passes the guard once more, or ends.
#ifndef HOST_DAEMON_KEEP_RECHECK_H
#define HOST_DAEMON_KEEP_RECHECK_H

#include "host/daemon/keep/request_check.h"
#include "host/daemon/keep/resume.h"

namespace otad {

/*
 * Takes out of the plan what may not reach the agent: the call to redo, the standing offer, the
 * timers and the memory. Requests end with the refusal's outcome and words; an offer takes all
 * along that would have worked for it. The queue is not looked at: each of it has its turn.
 */
void recheck(TakeUp &plan, const Judge &judge);

} // namespace otad

#endif
