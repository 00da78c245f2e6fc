// SPDX-License-Identifier: MIT
// otactl trigger: what the mobile app sends when its user says go.
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

#include <memory>

namespace otactl {

Action declareTrigger(CLI::App &command) {
    const auto flag = std::make_shared<std::int32_t>(1);
    command.add_option("--flag", *flag, "The app's flag for new software; 1 if not given")
        ->type_name("N");
    return [flag](const Globals &globals) {
        BusClient client(globals.bus);
        answerTicket("accepted", client.callForTicket("TriggerMobileApp", "i", *flag), globals);
        return 0;
    };
}

} // namespace otactl
