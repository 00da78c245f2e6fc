// SPDX-License-Identifier: MIT
// otactl cancel: ends a request, or whatever runs or waits.
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

#include <memory>

namespace otactl {

Action declareCancel(CLI::App &command) {
    const auto ticket = std::make_shared<std::uint64_t>(0);
    command.add_option("ticket", *ticket, "Which request; whatever runs or waits if not given")
        ->type_name("TICKET")
        ->check(wholeNumber());
    return [ticket](const Globals &globals) {
        BusClient client(globals.bus);
        answerTicket("cancelled", client.callForTicket("Cancel", "t", *ticket), globals);
        return 0;
    };
}

} // namespace otactl
