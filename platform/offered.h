// SPDX-License-Identifier: MIT
// The node library's side of the offer hook.
#ifndef PLATFORM_OFFERED_H
#define PLATFORM_OFFERED_H

#include <string>

namespace platform {

/* Empty where nobody knows. */
std::string offeredVersion();

} // namespace platform

#endif
