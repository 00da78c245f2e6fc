// SPDX-License-Identifier: MIT
// The command line of otactl.
#include "cli/verbs.h"

namespace cli {

base::Command commandLine(Globals &globals) {
    return {.name = "otactl",
            .summary = "Offers, follows and steers software upgrades of this node.",
            .options = {{"--bus", base::text("ADDRESS", globals.bus),
                         "Address of the bus; the system bus if not given"},
                        {"--json", base::flag(globals.json), "Print JSON, one object a line"}},
            .verbs = {offerVerb(globals), triggerVerb(globals), activateAtVerb(globals),
                      cancelVerb(globals), statusVerb(globals), watchVerb(globals),
                      historyVerb(globals), explainVerb(globals), banksVerb(globals),
                      commitVerb(globals), forgetVerb(globals), setVerb(globals),
                      configVerb(globals), signVerb(globals), verifyVerb(globals)},
            .version = OTA_VERSION};
}

} // namespace cli
