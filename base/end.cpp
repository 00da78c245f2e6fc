// SPDX-License-Identifier: MIT
#include "base/end.h"

namespace base {
namespace {

constexpr double kMostCode = 255.0;

std::optional<double> numberUpTo(double most, const cJSON *object, const char *key) {
    const std::optional<double> number = numberIn(object, key);
    return number && *number >= 0 && *number <= most ? number : std::nullopt;
}

} // namespace

End endOf(std::uint64_t ticket, Outcome outcome, const Error &why) {
    const OutcomeRow &row = rowOf(outcome);
    return {ticket, static_cast<std::uint32_t>(row.code), row.name, rowOf(why.reason).name,
            why.text};
}

Told toldIn(const char *line) {
    const Json object = parsed(line);
    const std::optional<double> ticket = numberUpTo(kMostWhole, object.get(), "ticket");
    const std::optional<double> code = numberUpTo(kMostCode, object.get(), "code");
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
