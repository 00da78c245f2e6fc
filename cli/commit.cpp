// SPDX-License-Identifier: MIT
// otactl commit: marks the running bank good before its trial ends by itself.
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

#include <cstdio>

namespace cli {

base::Command commitVerb(const Globals &globals) {
    return {.name = "commit",
            .summary = "Mark the running bank good, where it is on trial",
            .run = [&globals] {
                BusClient(globals.bus).call("Commit", "");
                if (globals.json) {
                    base::printJson(base::success().get());
                } else {
                    std::puts("the running bank is marked good");
                }
                return 0;
            }};
}

} // namespace cli
