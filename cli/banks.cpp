// SPDX-License-Identifier: MIT
// otactl banks: what the two banks hold.
#include "cli/bus_client.h"
#include "cli/display.h"
#include "cli/json_output.h"
#include "cli/verbs.h"

namespace otactl {

Action declareBanks(CLI::App &) {
    return [](const Globals &globals) {
        const Node node = BusClient(globals.bus).readNode();
        if (globals.json) {
            const host::Json object = newObject();
            add(object.get(), "banks", banksAsJson(node.banks));
            printJson(object.get());
            return 0;
        }
        std::vector<std::vector<std::string>> rows = {
            {"BANK", "VERSION", "IMAGE", "RUNNING", "BOOTS NEXT"}};
        for (const Bank &bank : node.banks) {
            rows.push_back({bank.name, bank.version.empty() ? "-" : bank.version,
                            bank.whole ? "whole" : "not whole", bank.running ? "yes" : "no",
                            bank.next ? "yes" : "no"});
        }
        printTable(rows);
        return 0;
    };
}

} // namespace otactl
