// SPDX-License-Identifier: MIT
#include "cli/answer.h"

#include "base/failure.h"

#include <cstdio>

namespace cli {

bool hasReason(const Finished &end) {
    return !end.reasonCode.empty() && end.reasonCode != base::rowOf(base::Reason::none).name;
}

void addEnd(cJSON *object, const Finished &end) {
    base::add(object, "ticket", end.ticket);
    base::add(object, "code", end.code);
    base::add(object, "result", end.result);
    base::add(object, "reason_code", end.reasonCode);
    base::add(object, "reason", end.reason);
}

void answerTicket(const std::string &what, std::uint64_t ticket, const Globals &globals) {
    if (globals.json) {
        const base::Json object = base::success();
        base::add(object.get(), "ticket", ticket);
        base::printJson(object.get());
        return;
    }
    std::printf("%s, ticket %s\n", what.c_str(), std::to_string(ticket).c_str());
    std::fflush(stdout);
}

int answerEnd(const Finished &end) {
    const base::Json object = base::newObject();
    addEnd(object.get(), end);
    base::printJson(object.get());
    return static_cast<int>(end.code);
}

} // namespace cli
