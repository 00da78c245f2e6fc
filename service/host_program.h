// SPDX-License-Identifier: MIT
// How the process that holds the agent's library is started.
#ifndef SERVICE_HOST_PROGRAM_H
#define SERVICE_HOST_PROGRAM_H

#include "base/result.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace service {

struct HostProgram {
    std::string program;
    std::string library;
    std::string config;
    std::string platform{}; // empty: the host's own default
};

struct SpawnedHost {
    pid_t pid;
    int channel; // this side's end, the caller's
};

/* Starts it with these options more, in a process group of its own. Error: what and what to do. */
base::Result<SpawnedHost> spawnHost(const HostProgram &program,
                                    const std::vector<std::string> &options);

/* Kills the process with all that it started. */
void killHost(pid_t pid);

} // namespace service

#endif
