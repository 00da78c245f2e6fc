// SPDX-License-Identifier: MIT
// A filter in the kernel: the calls of interest stop for the tracer, all others run at full speed.
#ifndef DESK_POWER_SECCOMP_FILTER_H
#define DESK_POWER_SECCOMP_FILTER_H

#include <linux/filter.h>
#include <vector>

namespace power {

std::vector<sock_filter> callFilter();
// For this process and all that it starts, for good. Calls no other than system calls, so that it
// may run between fork and exec. False: errno says why.
bool installFilter(const std::vector<sock_filter> &filter);

} // namespace power

#endif
