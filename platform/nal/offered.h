// SPDX-License-Identifier: MIT
// The node library's side of the offer hook.
#ifndef PLATFORM_NAL_OFFERED_H
#define PLATFORM_NAL_OFFERED_H

#include <string>

namespace nal {

/* Empty where nobody knows. */
std::string offeredVersion();

} // namespace nal

#endif
