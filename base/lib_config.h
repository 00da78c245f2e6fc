// SPDX-License-Identifier: MIT
// The configuration that travels with a new image: its three keys in JSON.
#ifndef BASE_LIB_CONFIG_H
#define BASE_LIB_CONFIG_H

#include "base/json.h"
#include "base/result.h"
#include "otaSwAgent/records.h"

namespace base {

/* The object's `key`: an object with the configuration's three keys. */
Result<OtaLibConfig> takeLibConfig(const cJSON *object, const char *key);

/* The three keys as a new object. */
Json printLibConfig(const OtaLibConfig &config);

} // namespace base

#endif
