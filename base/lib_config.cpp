// SPDX-License-Identifier: MIT
#include "base/lib_config.h"

#include "base/json_fields.h"

#include <cstdint>
#include <limits>

namespace base {
namespace {

constexpr const char *kOffload = "OffloadDownloadActivate";
constexpr const char *kOnboarding = "initial_obardingStatus";
constexpr const char *kFirstPolling = "firsttime_polling";

} // namespace

bool takeLibConfig(const cJSON *object, const char *key, OtaLibConfig &config,
                   std::string &whatIsWrong) {
    const cJSON *const given = cJSON_GetObjectItemCaseSensitive(object, key);
    if (!cJSON_IsObject(given)) {
        whatIsWrong = std::string("\"") + key + "\" is missing or no object: expected an object";
        return false;
    }
    OtaLibConfig read{};
    int offload = 0;
    if (!takeIntegerWithin(given, kOffload, 0, std::numeric_limits<std::uint8_t>::max(), offload,
                           whatIsWrong) ||
        !takeInteger(given, kOnboarding, read.initial_obardingStatus, whatIsWrong) ||
        !takeInteger(given, kFirstPolling, read.firsttime_polling, whatIsWrong)) {
        return false;
    }
    read.OffloadDownloadActivate = static_cast<std::uint8_t>(offload);
    config = read;
    return true;
}

Json printLibConfig(const OtaLibConfig &config) {
    Json object(cJSON_CreateObject());
    const bool whole =
        cJSON_AddNumberToObject(object.get(), kOffload, config.OffloadDownloadActivate) !=
            nullptr &&
        cJSON_AddNumberToObject(object.get(), kOnboarding, config.initial_obardingStatus) !=
            nullptr &&
        cJSON_AddNumberToObject(object.get(), kFirstPolling, config.firsttime_polling) != nullptr;
    return whole ? std::move(object) : nullptr;
}

} // namespace base
