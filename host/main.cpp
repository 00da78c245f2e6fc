// SPDX-License-Identifier: MIT
// ota-host: runs the agent's library on a node.
#include "host/run.h"

int main(int argc, char **argv) { return host::runHost(argc, argv); }
