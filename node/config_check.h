// SPDX-License-Identifier: MIT
// The node's configuration, looked at with the eyes of its service and of the reference platform.
#ifndef NODE_CONFIG_CHECK_H
#define NODE_CONFIG_CHECK_H

#include "base/config_findings.h"
#include "node/config/config.h"
#include "node/config/config_reading.h"

#include <string>
#include <vector>

namespace node {

/*
 * Reads and parses the file, and looks at what it names: directories, banks, certificates. Takes no
 * lock and changes nothing. The error is the first mistake.
 */
base::Result<Config> checkConfigFile(const std::string &path,
                                     ConfigReader reader = ConfigReader::service);

/*
 * The same, every mistake on a line of its own; empty where there is none. Where a start finds
 * none, also what would make every upgrade fail: a boot state, certificate or program that cannot
 * be used. warnings may be null; it takes those of the reading.
 */
std::vector<std::string> configMistakes(const std::string &path,
                                        std::vector<std::string> *warnings = nullptr);

/* What the reference platform finds beside the mistakes that the service's own reading shows. */
base::ConfigFindings platformFindings(const std::string &path);

} // namespace node

#endif
