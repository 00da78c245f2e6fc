// SPDX-License-Identifier: MIT
// otactl banks: the table, trials and failed versions.
#include "otactl_test.h"

namespace {

TEST_F(Verbs, BanksAreATable) {
    expectPrinted(otactl({"banks"}), "BANK  VERSION   IMAGE      RUNNING  BOOTS NEXT  STATE\n"
                                     "a     4QZ2.0.0  whole      yes      yes         good\n"
                                     "b     -         not whole  no       no          -\n");
}

TEST_F(Verbs, BanksShowTrialsAndWhatFailed) {
    service_.change([](service::NodeStatus &node) {
        node.banks = {{"a", "4QZ2.0.0", true, false, false}, {"b", "4QZ2.1.0", true, true, true}};
        node.bankTrials = {{"a", false, 0, 2, "health"}, {"b", true, 1, 0, ""}};
        node.failedVersions = {{"4QZ2.0.0", 2, "health", true}, {"4QZ1.9", 1, "boot", false}};
    });
    expectPrinted(otactl({"banks"}),
                  "BANK  VERSION   IMAGE  RUNNING  BOOTS NEXT  STATE\n"
                  "a     4QZ2.0.0  whole  no       no          failed its trial: health\n"
                  "b     4QZ2.1.0  whole  yes      yes         on trial, 1 attempt left\n"
                  "4QZ2.0.0 failed its trial 2 times, last: health; offers of it are refused until "
                  "otactl forget 4QZ2.0.0\n"
                  "4QZ1.9 failed its trial once, last: boot; it may be offered again\n");
    expectPrinted(otactl({"--json", "banks"}),
                  R"({"banks":[{"bank":"a","version":"4QZ2.0.0","whole":true,"running":false,)"
                  R"("next":false,"trial":false,"attempts":0,"failed_trials":2,)"
                  R"("last_failure":"health"},{"bank":"b","version":"4QZ2.1.0","whole":true,)"
                  R"("running":true,"next":true,"trial":true,"attempts":1,"failed_trials":0,)"
                  R"("last_failure":""}],"failed_versions":[{"version":"4QZ2.0.0","trials":2,)"
                  R"("reason":"health","refused":true},{"version":"4QZ1.9","trials":1,)"
                  "\"reason\":\"boot\",\"refused\":false}]}\n");
}

TEST_F(Verbs, BanksThatAreNotKnownAreAFailureWithItsReason) {
    service_.change([](service::NodeStatus &node) { node.banks.clear(); });
    EXPECT_EQ(otactl({"banks"}).code, 5);
    service_.change([](service::NodeStatus &node) {
        node.waitReasonCode = "boot-state-unreadable";
        node.waitReason = "/state: is a directory";
    });
    const Ended ended = otactl({"banks"});
    EXPECT_EQ(ended.code, 5);
    EXPECT_EQ(ended.output, "");
    EXPECT_NE(ended.errors.find(
                  "the banks are not known: /state: is a directory (boot-state-unreadable)"),
              std::string::npos)
        << ended.errors;
    EXPECT_EQ(otactl({"--json", "banks"}).code, 5);
}

} // namespace
