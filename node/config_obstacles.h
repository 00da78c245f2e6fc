// SPDX-License-Identifier: MIT
// What the service starts with and no upgrade succeeds with: looked at before, not when it fails.
#ifndef NODE_CONFIG_OBSTACLES_H
#define NODE_CONFIG_OBSTACLES_H

#include "node/config/boot_place.h"

#include <string>

namespace node {

/* Each: what is wrong, behind the name of the key; empty where nothing is. They change nothing. */
std::string whyNoBootState(const BootPlace &place);
/* Of a program named by its path. */
std::string whyNoProgram(const std::string &path);
/* Of certificates in PEM. */
std::string whyNoCertificates(const std::string &path);

} // namespace node

#endif
