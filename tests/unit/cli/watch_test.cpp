// SPDX-License-Identifier: MIT
// What ends otactl watch and offer --wait, and with which code.
#include "watch_fixture.h"

namespace {

TEST_F(Watch, UntilIdleEndsAtOnceWhereTheNodeIsIdle) {
    service_.change([](service::NodeStatus &node) {
        node.stage = "idle";
        node.queued = 0;
    });
    EXPECT_EQ(otactl({"watch", "--until-idle", "--json"}).code, 0);
}

TEST_F(Watch, UntilIdleWaitsForStageAndQueue) {
    Program program(onBus({"watch", "--until-idle", "--json"}));
    expectBeginning(program);
    service_.change([](service::NodeStatus &node) { node.stage = "idle"; });
    EXPECT_EQ(program.line(), R"({"event":"stage","stage":"idle"})");
    service_.raise([](service::BusService &service) { service.raiseHistory("{}"); });
    EXPECT_EQ(program.line(), R"({"event":"history","line":{}})");
    service_.change([](service::NodeStatus &node) { node.queued = 0; });
    EXPECT_EQ(program.line(), "(end)");
    EXPECT_EQ(program.code(), 0);
}

TEST_F(Watch, UntilFinishedEndsWithTheCodeOfThatTicketOnly) {
    Program program(onBus({"watch", "--until-finished", "6", "--json"}));
    expectBeginning(program);
    finish(5, base::Outcome::done, "");
    finish(6, base::Outcome::flashWriteFailed, "");
    EXPECT_NE(program.line().find(R"("ticket":5)"), std::string::npos);
    EXPECT_NE(program.line().find(R"("ticket":6)"), std::string::npos);
    EXPECT_EQ(program.line(), "(end)");
    EXPECT_EQ(program.code(), 52);
}

TEST_F(Watch, UntilFinishedFindsInTheHistoryWhatIsOverAlready) {
    service_.raise([this](service::BusService &) {
        service_.historyLines = {
            R"({"event":"finished","ticket":5,"code":51,"result":"checksumFailed","reason":""})",
            R"({"event":"started","ticket":6,"code":65,"result":"waiting","reason":""})",
            R"({"event":"finished","ticket":6,"code":60,"result":"cancelled","reason":"asked"})",
            R"({"event":"finished","ticket":7,"code":50,"result":"notNeeded","reason":""})"};
    });
    const Ended ended = otactl({"watch", "--until-finished", "6", "--json"});
    EXPECT_EQ(ended.code, 60);
    EXPECT_NE(ended.output.find(R"({"event":"finished","ticket":6,"code":60,"result":"cancelled",)"
                                R"("reason_code":"","reason":"asked"})"),
              std::string::npos);
}

TEST_F(Watch, OfferWaitHearsAnEndThatComesBeforeTheTicket) {
    service_.beforeAnswer = [](service::BusService &service) {
        service.raiseFinished(base::endOf(7, base::Outcome::notNeeded, {"runs already"}));
    };
    const Ended ended = otactl({"offer", "-", "--wait", "--json"}, {.input = "{}"});
    EXPECT_EQ(
        ended.output,
        "{\"ticket\":7,\"code\":50,\"result\":\"notNeeded\",\"reason_code\":\"none\",\"reason\":\"runs already\"}\n");
    EXPECT_EQ(ended.code, 50);
}

TEST_F(Watch, OfferWaitTellsItsWayAndEndsWithItsCode) {
    Program program(onBus({"offer", "-", "--wait"}), {.input = "{}"});
    EXPECT_EQ(program.line(), "accepted, ticket 7");
    EXPECT_EQ(untimed(program.line()), "service     otad is on the bus");
    ASSERT_TRUE(program.shows("timers"));
    finish(7, base::Outcome::done, "");
    EXPECT_TRUE(program.shows("finished    ticket 7: done, it was done"));
    EXPECT_EQ(program.code(), 0);
}

TEST_F(Watch, OfferWaitEndsAtOnceWhereItIsRefused) {
    service_.refusal = guard::Refusal{base::Outcome::wrongMac, "mac", "is another's"};
    const Ended ended = otactl({"offer", "-", "--wait", "--json"}, {.input = "{}"});
    EXPECT_EQ(ended.code, 30);
}

} // namespace
