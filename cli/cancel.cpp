// SPDX-License-Identifier: MIT
// otactl cancel: ends a request, or whatever runs or waits.
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

#include <memory>

namespace cli {

base::Command cancelVerb(const Globals &globals) {
    const auto ticket = std::make_shared<std::uint64_t>(0);
    return {.name = "cancel",
            .summary = "End a request; the node is idle then",
            .arguments = {{"ticket", base::number("TICKET", *ticket, 0, kMostExact),
                           "Which request; whatever runs or waits if not given"}},
            .run = [ticket, &globals] {
                BusClient client(globals.bus);
                answerTicket("cancelled", client.callForTicket("Cancel", "t", *ticket), globals);
                return 0;
            }};
}

} // namespace cli
