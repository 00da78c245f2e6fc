// SPDX-License-Identifier: MIT
// The configuration before the service starts: its own reading, and what the platform finds.
#ifndef SERVICE_CONFIG_CHECK_H
#define SERVICE_CONFIG_CHECK_H

#include "base/config_findings.h"
#include "node/config/config.h"
#include "service/host_program.h"

#include <chrono>

namespace service {

struct CheckedConfig {
    node::Config config; // whole where there are no mistakes
    base::ConfigFindings findings;
};

/*
 * Reads the file that the program names, looks at what the service needs of it, and asks the
 * platform about the rest, in a process that ends with that. Blocks for it, at most for `patience`;
 * what the platform cannot say is an obstacle, since nothing keeps the service from its start.
 * The program's platform is the one that the configuration names.
 */
CheckedConfig checkConfig(HostProgram program,
                          std::chrono::milliseconds patience = std::chrono::seconds(30));

} // namespace service

#endif
