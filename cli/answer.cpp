// SPDX-License-Identifier: MIT
#include "cli/answer.h"

#include <cstdio>

namespace cli {

base::Json success() { return outcomeAsJson(base::rowOf(base::Outcome::done), ""); }

void answerTicket(const std::string &what, std::uint64_t ticket, const Globals &globals) {
    if (globals.json) {
        const base::Json object = success();
        add(object.get(), "ticket", ticket);
        printJson(object.get());
        return;
    }
    std::printf("%s, ticket %s\n", what.c_str(), std::to_string(ticket).c_str());
    std::fflush(stdout);
}

int answerEnd(const Finished &end) {
    const base::Json object = newObject();
    addEnd(object.get(), end);
    printJson(object.get());
    return static_cast<int>(end.code);
}

} // namespace cli
