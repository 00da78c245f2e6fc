// SPDX-License-Identifier: MIT
// ota-desk-host: the host process with stand-ins for what a desk lacks.
#include "host/run.h"

#include <csignal>

int main(int argc, char **argv) {
    // A write beyond the limit of a file is to fail as on a full disk, not to end the process.
    std::signal(SIGXFSZ, SIG_IGN);
    return host::runHost(argc, argv);
}
