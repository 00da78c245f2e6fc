// SPDX-License-Identifier: MIT
#include "cli/answer.h"

#include "base/failure.h"
#include "base/json_record.h"

#include <cstdio>

namespace cli {

bool hasReason(const Finished &end) {
    return !end.reasonCode.empty() && end.reasonCode != base::rowOf(base::Reason::none).name;
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
    base::printJson(base::asJson(end).get());
    return static_cast<int>(end.code);
}

} // namespace cli
