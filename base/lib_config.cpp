// SPDX-License-Identifier: MIT
#include "base/lib_config.h"

#include "base/json.h"

#include <cstdint>
#include <limits>

namespace base {
namespace {

constexpr const char *kOffload = "OffloadDownloadActivate";
constexpr const char *kOnboarding = "initial_obardingStatus";
constexpr const char *kFirstPolling = "firsttime_polling";

} // namespace

Result<OtaLibConfig> takeLibConfig(const cJSON *object, const char *key) {
    const cJSON *const given = cJSON_GetObjectItemCaseSensitive(object, key);
    if (!cJSON_IsObject(given)) {
        return Error{std::string("\"") + key + "\" is missing or no object: expected an object"};
    }
    const auto offload =
        takeIntegerWithin(given, kOffload, 0, std::numeric_limits<std::uint8_t>::max());
    const auto onboarding = takeInteger(given, kOnboarding);
    const auto firstPolling = takeInteger(given, kFirstPolling);
    for (const auto *number : {&offload, &onboarding, &firstPolling}) {
        if (!*number) {
            return number->error();
        }
    }
    OtaLibConfig config{};
    config.OffloadDownloadActivate = static_cast<std::uint8_t>(*offload);
    config.initial_obardingStatus = *onboarding;
    config.firsttime_polling = *firstPolling;
    return config;
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
