// SPDX-License-Identifier: MIT
// ota-report: what others are given of this node: its figures, and what a maker needs to help.
#include "base/program.h"
#include "report/verbs.h"

int main(int argc, char **argv) {
    const std::string called = argv[0];
    report::Asked asked;
    asked.config = OTA_DEFAULT_CONFIG;
    const base::Command program{
        .name = called.substr(called.rfind('/') + 1),
        .summary = "Tell others about this node",
        .options = {{"--bus", base::text("ADDRESS", asked.bus),
                     "Address of the bus; the system bus if not given"},
                    {"--json", base::flag(asked.json), "Print JSON, one object a line"}},
        .verbs = {report::metricsVerb(asked), report::supportBundleVerb(asked)},
        .version = OTA_VERSION};
    return base::runProgram(program, argc, argv, asked.json);
}
