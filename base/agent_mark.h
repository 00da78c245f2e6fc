// SPDX-License-Identifier: MIT
// The file by which the agent knows after a boot that it activated a bank.
#ifndef BASE_AGENT_MARK_H
#define BASE_AGENT_MARK_H

namespace base {

inline constexpr const char *kActivationMark = "/ota_act_success"; // below the logs directory

} // namespace base

#endif
