// SPDX-License-Identifier: MIT
// The end of a request, as the service tells it and as its history keeps it.
#include "cli/finished.h"

#include "cli/json_output.h"

namespace otactl {
namespace {

constexpr double kMostTicket = 9007199254740992.0; // JSON carries whole numbers up to 2^53
constexpr double kMostCode = 255.0;

std::optional<double> numberOf(const cJSON *object, const char *key, double most) {
    const cJSON *const item = cJSON_GetObjectItemCaseSensitive(object, key);
    const bool usable =
        cJSON_IsNumber(item) != 0 && item->valuedouble >= 0 && item->valuedouble <= most;
    return usable ? std::optional(item->valuedouble) : std::nullopt;
}

} // namespace

std::optional<Finished> endOfLine(const char *line) {
    const host::Json object(cJSON_Parse(line));
    const std::string event = textOf(object.get(), "event");
    const std::optional<double> ticket = numberOf(object.get(), "ticket", kMostTicket);
    const std::optional<double> code = numberOf(object.get(), "code", kMostCode);
    if ((event != "finished" && event != "cancelled") || !ticket || !code) {
        return std::nullopt;
    }
    return Finished{static_cast<std::uint64_t>(*ticket), static_cast<std::uint32_t>(*code),
                    textOf(object.get(), "result"), textOf(object.get(), "reason")};
}

void addEnd(cJSON *object, const Finished &end) {
    add(object, "ticket", end.ticket);
    add(object, "code", end.code);
    add(object, "result", end.result);
    add(object, "reason", end.reason);
}

} // namespace otactl
