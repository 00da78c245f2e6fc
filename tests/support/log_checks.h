// SPDX-License-Identifier: MIT
// Turns what the agent logs into journal entries and checks the form of every line.
#pragma once

#include <string>

namespace ota::test {

// One entry of the debug log, stamp included, as it came to the file.
void addDebugEntry(const std::string &written);

// For tests that call otaDebugLog themselves: entries need no "function():line: " then, and
// are journalled as "debug : text".
void allowPlainDebugText(bool allowed);

} // namespace ota::test
