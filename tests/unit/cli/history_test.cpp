// SPDX-License-Identifier: MIT
// otactl history: the table of the newest lines.
#include "otactl_test.h"

namespace {

TEST_F(Verbs, HistoryIsATableOfTheNewestLines) {
    service_.raise([this](service::BusService &) {
        service_.historyLines = {
            R"({"time":"2031-01-02T03:04:05Z","event":"stage","ticket":6,"version":"4QZ2.1.0",)"
            R"("stage":"verifying","code":0,"result":"done","reason":"","next":""})",
            R"({"time":"2031-01-02T03:05:06Z","event":"finished","ticket":6,"version":"4QZ2.1.0",)"
            R"("code":51,"result":"checksumFailed","reason":"MD5 differs","next":"offer again"})",
            R"({"time":"2031-01-02T03:06:07Z","event":"finished","ticket":7,"result":"done"})"};
    });
    expectPrinted(otactl({"history", "-n", "3"}),
                  "TIME                  EVENT     TICKET  VERSION   STAGE      WHAT\n"
                  "2031-01-02T03:04:05Z  stage     6       4QZ2.1.0  verifying\n"
                  "2031-01-02T03:05:06Z  finished  6       4QZ2.1.0             "
                  "checksumFailed; MD5 differs; offer again\n"
                  "2031-01-02T03:06:07Z  finished  7                            done\n");
    const Ended json = otactl({"history", "--json"});
    std::string expected;
    for (const std::string &line : service_.historyLines) {
        expected += line + "\n";
    }
    EXPECT_EQ(json.output, expected);
    EXPECT_EQ(service_.calls(), (std::vector<std::string>{"history 3", "history 20"}));
}

} // namespace
