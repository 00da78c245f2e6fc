// SPDX-License-Identifier: MIT
// The configuration that travels with a new image: its three keys in JSON.
#ifndef BASE_LIB_CONFIG_H
#define BASE_LIB_CONFIG_H

#include "base/json.h"
#include "otaSwAgent/records.h"

#include <string>

namespace base {

/*
 * Reads the object's `key`: an object with the configuration's three keys. False: the
 * configuration is untouched and whatIsWrong is one line.
 */
bool takeLibConfig(const cJSON *object, const char *key, OtaLibConfig &config,
                   std::string &whatIsWrong);

/* The three keys as a new object; null where memory ran out. */
Json printLibConfig(const OtaLibConfig &config);

} // namespace base

#endif
