// SPDX-License-Identifier: MIT
// otactl trigger: what the mobile app sends when its user says go.
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

#include <memory>

namespace cli {

base::Command triggerVerb(const Globals &globals) {
    const auto flag = std::make_shared<std::int32_t>(1);
    return {.name = "trigger",
            .summary = "Say go for the user of the mobile app",
            .options = {{"--flag", base::number("N", *flag),
                         "The app's flag for new software; 1 if not given"}},
            .run = [flag, &globals] {
                BusClient client(globals.bus);
                answerTicket("accepted", client.callForTicket("TriggerMobileApp", "i", *flag),
                             globals);
                return 0;
            }};
}

} // namespace cli
