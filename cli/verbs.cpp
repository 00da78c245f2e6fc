// SPDX-License-Identifier: MIT
// The command line of otactl.
#include "cli/verbs.h"

#include "cli/hand_over.h"

namespace cli {

base::Command commandLine(Globals &globals) {
    base::Command program{
        .name = "otactl",
        .summary = "Offers, follows and steers software upgrades of this node.",
        .options = {{"--bus", base::text("ADDRESS", globals.bus),
                     "Address of the bus; the system bus if not given"},
                    {"--json", base::flag(globals.json), "Print JSON, one object a line"}},
        .verbs = {offerVerb(globals), triggerVerb(globals), activateAtVerb(globals),
                  cancelVerb(globals), statusVerb(globals), watchVerb(globals),
                  historyVerb(globals), explainVerb(globals), banksVerb(globals),
                  commitVerb(globals), forgetVerb(globals), setVerb(globals)},
        .version = OTA_VERSION};
    for (const base::Command &verb : handedOverVerbs()) {
        program.verbs.push_back(verb);
    }
    return program;
}

} // namespace cli
