// SPDX-License-Identifier: MIT
// Verbs that ask for one thing: what reaches the service, and what is printed.
#include "otactl_test.h"

#include <array>
#include <ctime>

namespace {

TEST_F(Verbs, TriggerSaysGoUnlessAnotherFlagIsGiven) {
    expectPrinted(otactl({"trigger"}), "accepted, ticket 7\n");
    expectPrinted(otactl({"--json", "trigger", "--flag", "0"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"ticket\":7}\n");
    EXPECT_EQ(service_.calls(), (std::vector<std::string>{"trigger 1", "trigger 0"}));
}

TEST_F(Verbs, CancelNamesTheTicketOrWhateverRuns) {
    expectPrinted(otactl({"cancel"}), "cancelled, ticket 7\n");
    expectPrinted(otactl({"cancel", "5", "--json"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"ticket\":7}\n");
    EXPECT_EQ(service_.calls(), (std::vector<std::string>{"cancel 0", "cancel 5"}));
}

TEST_F(Verbs, ActivateAtSendsARecordOfThisNode) {
    expectPrinted(otactl({"activate-at", "03:30"}),
                  "accepted, ticket 7\nit governs 4QZ2.1.0 (ticket 6)\n");
    expectCall(R"(activate-at {"model":"GW-1000","mac":"02:00:5E:00:53:01","sn":"SN1",)"
               R"("actTime":"03:30"})");
}

TEST_F(Verbs, ActivateAtCountsFromNowInLocalTime) {
    // A place that is half an hour off everybody else's hours.
    const auto before = std::time(nullptr);
    expectPrinted(otactl({"activate-at", "now+90"}, {.environment = {{"TZ", "XYZ-05:30"}}}),
                  "accepted, ticket 7\nit governs 4QZ2.1.0 (ticket 6)\n");
    const auto after = std::time(nullptr);
    const std::vector<std::string> calls = service_.calls();
    ASSERT_EQ(calls.size(), 1U);
    bool found = false;
    for (auto moment = before; moment <= after; ++moment) {
        const std::time_t there = moment + 90 + 5 * 3600 + 30 * 60;
        std::tm time{};
        gmtime_r(&there, &time);
        std::array<char, 40> text{};
        std::strftime(text.data(), text.size(), "\"actTime\":\"%H:%M:%S\"}", &time);
        found = found || calls[0].ends_with(text.data());
    }
    EXPECT_TRUE(found) << calls[0];
}

TEST_F(Verbs, ActivateAtSaysWhatItGovernsWhereNothingWaits) {
    service_.change([](service::NodeStatus &node) { node.timers.clear(); });
    const std::string governed =
        "it governs the next image of policy 0, until the node boots or another time is named\n";
    expectPrinted(otactl({"activate-at", "03:30"}), "accepted, ticket 7\n" + governed);
    service_.change([](service::NodeStatus &node) { node.activationTime = "03:30"; });
    EXPECT_NE(otactl({"status"}).output.find("activates   at 03:30, as was named; " + governed),
              std::string::npos);
}

TEST_F(Verbs, SetSendsNameAndValue) {
    expectPrinted(otactl({"set", "work_mode", "RGW"}), "work_mode is now RGW\n");
    expectPrinted(otactl({"set", "onboarding", "1", "--json"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"name\":\"onboarding\","
                  "\"value\":\"1\"}\n");
    EXPECT_EQ(service_.calls(),
              (std::vector<std::string>{"set work_mode RGW", "set onboarding 1"}));
}

TEST_F(Verbs, SetWarnsOfAModeThatTheAgentDoesNotKnow) {
    const Ended ended = otactl({"set", "work_mode", "rgw"});
    EXPECT_EQ(ended.code, 0);
    EXPECT_EQ(ended.output, "work_mode is now rgw\n");
    EXPECT_EQ(ended.errors,
              "otactl: warning: work_mode is \"rgw\": the agent knows RGW and AP_Bridge and takes "
              "another word for neither: what waits for its time is never activated; did you mean "
              "RGW?\n");
    EXPECT_NE(
        otactl({"set", "work_mode", "rgw", "--json"}).output.find(R"("warning":"work_mode is)"),
        std::string::npos);
    EXPECT_EQ(otactl({"set", "work_mode", "AP_Bridge"}).errors, "");
}

TEST_F(Verbs, CommitAndForgetAreAnsweredWhenTheyAreDone) {
    expectPrinted(otactl({"commit"}), "the running bank is marked good\n");
    expectPrinted(otactl({"commit", "--json"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\"}\n");
    expectPrinted(otactl({"forget", "4QZ2.1.0"}), "4QZ2.1.0 may be offered again\n");
    expectPrinted(otactl({"--json", "forget", "4QZ2.1.0"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"version\":\"4QZ2.1.0\"}\n");
    EXPECT_EQ(service_.calls(),
              (std::vector<std::string>{"commit", "commit", "forget 4QZ2.1.0", "forget 4QZ2.1.0"}));
}

TEST_F(Verbs, CommitThatIsRefusedEndsWithTheCodeAndTheReason) {
    service_.raise([this](service::BusService &) {
        service_.refusal =
            guard::Refusal{base::Outcome::nothingToCommit, "bank", "bank a (4QZ2.0.0) runs"};
    });
    const Ended ended = otactl({"commit"});
    EXPECT_EQ(ended.code, 12);
    EXPECT_EQ(ended.output, "");
    EXPECT_NE(ended.errors.find("bank: bank a (4QZ2.0.0) runs"), std::string::npos) << ended.errors;
}

} // namespace
