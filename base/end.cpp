// SPDX-License-Identifier: MIT
#include "base/end.h"

namespace base {
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

End endOf(std::uint64_t ticket, Outcome outcome, const Cause &cause) {
    const OutcomeRow &row = rowOf(outcome);
    return {ticket, static_cast<std::uint32_t>(row.code), row.name, rowOf(cause.reason).name,
            cause.sentence};
}

Told toldIn(const char *line) {
    const Json object(cJSON_Parse(line));
    const std::optional<double> ticket = numberOf(object.get(), "ticket", kMostTicket);
    const std::optional<double> code = numberOf(object.get(), "code", kMostCode);
    if (!ticket || !code) {
        return {};
    }
    return {textOf(object.get(), "event"),
            textOf(object.get(), "version"),
            {static_cast<std::uint64_t>(*ticket), static_cast<std::uint32_t>(*code),
             textOf(object.get(), "result"), textOf(object.get(), "reason_code"),
             textOf(object.get(), "reason")}};
}

bool isEnd(const Told &told) { return told.event == "finished" || told.event == "cancelled"; }

std::optional<End> endOfLine(const char *line) {
    const Told told = toldIn(line);
    return isEnd(told) ? std::optional(told.end) : std::nullopt;
}

} // namespace base
