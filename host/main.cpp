// SPDX-License-Identifier: MIT
// ota-host: runs the agent's library on a node.
#include "host/agent_calls.h"
#include "host/run.h"
#include "platform/timers.h"

// A desk has a startTimer of its own.
int startTimer(int seconds, const char *name) { return host::askToStartTimer(seconds, name); }

int main(int argc, char **argv) { return host::runHost(argc, argv); }
