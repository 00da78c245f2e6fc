// SPDX-License-Identifier: MIT
#include "service/state/clock_words.h"

namespace service {

std::string timeOfDay(std::time_t moment) {
    std::tm local{};
    char clock[sizeof "hh:mm:ss"]{};
    const bool known = localtime_r(&moment, &local) != nullptr &&
                       std::strftime(clock, sizeof clock, "%H:%M:%S", &local) != 0;
    return known ? clock : "";
}

} // namespace service
