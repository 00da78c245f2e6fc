// SPDX-License-Identifier: MIT
// Values that are taken, and that are probably a slip.
#include "fixture.h"
#include "node/config_check.h"

namespace {

using OddValues = OnANode;

TEST_F(OddValues, AreWarnedOf) {
    const auto warningOf = [&](const std::string &key, const std::string &line) {
        writeText(configPath_, configWith(key, line));
        std::vector<std::string> warnings;
        EXPECT_TRUE(node::configMistakes(configPath_, &warnings).empty()) << line;
        return warnings.size() == 1 ? warnings[0].substr(configPath_.size())
                                    : std::to_string(warnings.size()) + " warnings";
    };
    EXPECT_EQ(
        warningOf("work_mode", "work_mode = rgw"),
        ":4: [node] work_mode is \"rgw\": the agent knows RGW and AP_Bridge and takes another "
        "word for neither: what waits for its time is never activated; did you mean RGW?");
    EXPECT_EQ(warningOf("work_role", "work_role = controler"),
              ":5: [node] work_role is \"controler\": the agent knows Controller alone; did you "
              "mean Controller?");
    EXPECT_EQ(warningOf("model", "model = \"GW-1000\""),
              ":2: [node] model is \"GW-1000\", and the quotes are part of the value; leave them "
              "out");
    EXPECT_EQ(warningOf("serial", "serial = SN42 # of the desk").substr(0, 24),
              ":3: [node] serial is \"SN");
    for (const char *const line : {"work_mode = AP_Bridge", "work_role = Agent", "model = GW#1"}) {
        EXPECT_EQ(warningOf(std::string(line).substr(0, std::string(line).find(' ')), line),
                  "0 warnings")
            << line;
    }
}

} // namespace
