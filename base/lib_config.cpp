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
    const auto given = takeObject(object, key);
    if (!given) {
        return given.error();
    }
    const auto offload =
        takeIntegerWithin(*given, kOffload, 0, std::numeric_limits<std::uint8_t>::max());
    const auto onboarding = takeInteger(*given, kOnboarding);
    const auto firstPolling = takeInteger(*given, kFirstPolling);
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
    Json object = newObject();
    add(object.get(), kOffload, config.OffloadDownloadActivate);
    add(object.get(), kOnboarding, config.initial_obardingStatus);
    add(object.get(), kFirstPolling, config.firsttime_polling);
    return object;
}

} // namespace base
