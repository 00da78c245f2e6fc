// SPDX-License-Identifier: MIT
// By what requests are judged on this node, now.
#ifndef HOST_DAEMON_JUDGE_H
#define HOST_DAEMON_JUDGE_H

#include "host/daemon/bus/node_status.h"
#include "host/daemon/keep/request_check.h"

#include "platform/nal/config.h"

namespace otad {

Judge judgeNow(const nal::Config &config, const NodeStatus &status);

} // namespace otad

#endif
