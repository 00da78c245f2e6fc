// SPDX-License-Identifier: MIT
// What otactl watch and offer --wait tell of a node, on a pipe.
#include "otactl_test.h"

#include "base/json.h"
#include "base/outcome.h"

#include <regex>

namespace {

constexpr const char *kRunning = R"({"event":"service","running":true})";

class Watch : public OtactlTest {
  protected:
    Watch() { EXPECT_TRUE(service_.start()); }

    /* Where the watcher has told the snapshot, it hears everything that follows. */
    static void expectBeginning(Program &program) {
        ASSERT_EQ(program.line(), kRunning);
        const std::string snapshot = program.line();
        ASSERT_EQ(snapshot.find(R"({"event":"snapshot","status_word":"OTA_SW_COMMIT_COMPLETE",)"),
                  0U)
            << snapshot;
        ASSERT_NE(snapshot.find(R"("daemon_version":)"), std::string::npos);
    }
    void finish(std::uint64_t ticket, base::Outcome outcome, const std::string &reason) {
        service_.raise([&](service::BusService &service) {
            service.raiseFinished(base::endOf(ticket, outcome, {reason}));
        });
    }
};

// A line without the time of day at its beginning.
std::string untimed(const std::string &line) {
    return std::regex_replace(line, std::regex("^\\d\\d:\\d\\d:\\d\\d  "), "");
}

TEST_F(Watch, EveryEventIsAnObjectOnALine) {
    Program program(onBus({"watch", "--json"}));
    expectBeginning(program);
    service_.raise([](service::BusService &service) {
        service.raiseStatus(R"({"status":"OTA_SW_ACTIVATION_COMPLETE"})");
    });
    EXPECT_EQ(program.line(),
              R"({"event":"status","record":{"status":"OTA_SW_ACTIVATION_COMPLETE"}})");
    service_.change([](service::NodeStatus &node) { node.stage = "verifying"; });
    EXPECT_EQ(program.line(), R"({"event":"stage","stage":"verifying"})");
    service_.change([](service::NodeStatus &node) {
        node.timers = {{"rebootTimer", 5}, {"x", 1}};
    });
    EXPECT_EQ(program.line(), R"({"event":"timers","timers":[{"name":"rebootTimer","seconds":5},)"
                              R"({"name":"x","seconds":1}]})");
    finish(6, base::Outcome::checksumFailed, "MD5 differs");
    EXPECT_EQ(program.line(),
              R"({"event":"finished","ticket":6,"code":51,)"
              R"("result":"checksumFailed","reason_code":"none","reason":"MD5 differs"})");
    service_.raise([](service::BusService &service) {
        service.raiseExtenderStatus("02:00:5E:00:53:02", R"({"status":"X"})");
        service.raiseExtenderFileServer("02:00:5E:00:53:02", R"({"swVersion":"4QZ3"})");
        service.raiseHistory(R"({"event":"boot"})");
        service.raiseHistory("no JSON");
    });
    EXPECT_EQ(program.line(),
              R"({"event":"extender","mac":"02:00:5E:00:53:02","record":{"status":"X"}})");
    EXPECT_EQ(program.line(), R"({"event":"extender-file-server","mac":"02:00:5E:00:53:02",)"
                              R"("info":{"swVersion":"4QZ3"}})");
    EXPECT_EQ(program.line(), R"({"event":"history","line":{"event":"boot"}})");
    EXPECT_EQ(program.line(), R"({"event":"history","line":"no JSON"})");
}

TEST_F(Watch, ProgressHasNoRateBeforeThereIsOne) {
    Program program(onBus({"watch", "--json"}));
    expectBeginning(program);
    service_.change([](service::NodeStatus &node) {
        node.percentage = 1;
        node.downloadedBytes = 500;
    });
    EXPECT_EQ(program.line(), R"({"event":"progress","percent":1,"bytes":500,"rate":null,)"
                              R"("seconds_left":null})");
}

TEST_F(Watch, ProgressTellsRateAndTimeLeft) {
    Program program(onBus({"watch", "--json"}));
    expectBeginning(program);
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    service_.change([](service::NodeStatus &node) {
        node.percentage = 50;
        node.downloadedBytes += 1000000000;
    });
    const std::string line = program.line();
    const base::Json object = base::parsed(line);
    const auto rate = base::numberIn(object.get(), "rate");
    const auto left = base::numberIn(object.get(), "seconds_left");
    ASSERT_TRUE(rate && left) << line;
    EXPECT_LE(*rate, 1000000000 / 0.25);
    EXPECT_GT(*rate, 1000000000 / 300.0);
    EXPECT_GE(*left, 1);
    EXPECT_LE(*left, 300);
}

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

TEST_F(Watch, ForPeopleThereAreLinesWithoutEscapeCodes) {
    Program program(onBus({"watch"}));
    for (const char *expected :
         {"service     otad is on the bus", "node        GW-1000, SN1, 02:00:5E:00:53:01",
          "status      OTA_SW_COMMIT_COMPLETE (running 4QZ2.0.0)",
          "stage       downloading, 4QZ2.1.0, ticket 6", "timers      rebootTimer in 1 h 20 min"}) {
        EXPECT_EQ(untimed(program.line()), expected);
    }
    for (const std::uint32_t percent : {29U, 30U, 39U, 41U}) {
        service_.change([percent](service::NodeStatus &node) { node.percentage = percent; });
    }
    EXPECT_EQ(untimed(program.line()), "download    29 %");
    EXPECT_EQ(untimed(program.line()), "download    30 %");
    EXPECT_EQ(untimed(program.line()), "download    41 %");
    service_.change([](service::NodeStatus &node) { node.timers.clear(); });
    EXPECT_EQ(untimed(program.line()), "timers      none");
    service_.raise([](service::BusService &service) {
        service.raiseExtenderStatus("M", R"({"status":"OTA_SW_COMMIT_FAILED"})");
        service.raiseExtenderFileServer("M", R"({"swVersion":"4QZ3","fileServerURL":"U"})");
        service.raiseHistory(R"({"event":"stage","reason":"told elsewhere"})");
        service.raiseHistory(R"({"event":"host-crashed","reason":"signal 9","next":"again"})");
        service.raiseStatus("no \033JSON");
        service.raiseFinished(base::endOf(6, base::Outcome::commitFailed,
                                          {"bank a booted", base::Reason::passedOver}));
    });
    for (const char *expected :
         {"extender    M: OTA_SW_COMMIT_FAILED", "hand-over   M: 4QZ3 from U",
          "host-crashed  signal 9; again", "status      no \\x1bJSON",
          "finished    ticket 6: commitFailed (passed-over), bank a booted"}) {
        EXPECT_EQ(untimed(program.line()), expected);
    }
}

} // namespace
