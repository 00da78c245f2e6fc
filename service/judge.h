// SPDX-License-Identifier: MIT
// By what requests are judged on this node, now.
#ifndef SERVICE_JUDGE_H
#define SERVICE_JUDGE_H

#include "service/bus/node_status.h"
#include "service/state/request_check.h"

#include "node/config.h"

namespace service {

Judge judgeNow(const node::Config &config, const NodeStatus &status);

} // namespace service

#endif
