// SPDX-License-Identifier: MIT
#ifndef BASE_IOCTL_REQUEST_H
#define BASE_IOCTL_REQUEST_H

#include <sys/ioctl.h>

namespace base {

template <typename Request>
Request requestOf(int (*)(int, Request, ...));

// Each C library has its own opinion: whoever defines ioctl must be of the same.
using IoctlRequest = decltype(requestOf(&::ioctl));

} // namespace base

#endif
