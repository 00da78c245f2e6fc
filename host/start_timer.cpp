// SPDX-License-Identifier: MIT
// The timer service's way in, as a node has it.
#include "host/timers.h"
#include "platform/timers.h"

int startTimer(int seconds, const char *name) { return host::askToStartTimer(seconds, name); }
