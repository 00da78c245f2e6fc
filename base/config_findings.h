// SPDX-License-Identifier: MIT
// What was found in a configuration, one line each; and as the host tells its supervisor.
#ifndef BASE_CONFIG_FINDINGS_H
#define BASE_CONFIG_FINDINGS_H

#include "base/json.h"

#include <string>
#include <vector>

namespace base {

struct ConfigFindings {
    std::vector<std::string> mistakes;  // nothing starts with them
    std::vector<std::string> obstacles; // it starts, and no upgrade would succeed
    std::vector<std::string> warnings;  // probably not meant
};

Json findingsAsJson(const ConfigFindings &findings);
/* What is not there counts as nothing found. */
ConfigFindings findingsIn(const cJSON *object);

} // namespace base

#endif
