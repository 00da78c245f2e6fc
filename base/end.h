// SPDX-License-Identifier: MIT
// The end of a request, as it is told and as the history keeps it.
#ifndef BASE_END_H
#define BASE_END_H

#include "base/json.h"
#include "base/record.h"
#include "base/result.h"

#include <cstdint>
#include <optional>
#include <string>

namespace base {

/* The history's event of a download that failed and is tried again. */
constexpr const char *kAttemptFailed = "attempt-failed";

struct End {
    std::uint64_t ticket = 0; // 0: none is known
    std::uint32_t code = 0;   // of the table of outcomes
    std::string result;       // its name
    std::string reasonCode;   // of the table of reasons
    std::string reason;       // the sentence
    bool operator==(const End &) const = default;
};
constexpr auto fieldsOf(const End * /*of*/) {
    return std::tuple{Field{"ticket", &End::ticket}, Field{"code", &End::code},
                      Field{"result", &End::result}, Field{"reason_code", &End::reasonCode},
                      Field{"reason", &End::reason}};
}

/* The end of a ticket with this outcome, for this cause. */
End endOf(std::uint64_t ticket, Outcome outcome, const Error &why);

/* Of a line of the history: its event, its request, and why; ticket 0 where it cannot be read. */
struct Told {
    std::string event;
    std::string version;
    End end;
};
Told toldIn(const char *line);
/* It tells the end of its ticket. */
bool isEnd(const Told &told);

/* The end that this line of the history tells; nothing where it tells something else. */
std::optional<End> endOfLine(const char *line);

} // namespace base

#endif
