// SPDX-License-Identifier: MIT
// `ota-desk demo`: everything from certificates to verdict.
#ifndef DESK_DEMO_H
#define DESK_DEMO_H

#include <string>
#include <vector>

namespace desk {

enum ExitCode { kCommitted = 0, kFailed = 1, kBadOption = 2, kEndedOtherwise = 3 };

int demo(const std::vector<std::string> &arguments);

} // namespace desk

#endif
