// SPDX-License-Identifier: MIT
// ota-desk-host: the host process with stand-ins for what a desk lacks.
#include "host/run.h"

int main(int argc, char **argv) { return host::runHost(argc, argv); }
