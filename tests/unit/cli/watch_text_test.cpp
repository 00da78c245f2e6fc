// SPDX-License-Identifier: MIT
// What otactl watch tells a person: lines on a pipe; on a terminal colour unless it is unwanted, a
// bar, timers that count down.
#include "watch_fixture.h"

namespace {

class WatchText : public Watch {
  protected:
    static Program::Surroundings terminal(std::map<std::string, std::string> environment = {}) {
        return {.terminal = true, .input = "", .environment = std::move(environment)};
    }
};

constexpr const char *kEscape = "\033";

TEST_F(WatchText, ForPeopleThereAreLinesWithoutEscapeCodes) {
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

TEST_F(WatchText, NamesAreBoldAndNothingElseIsColoured) {
    const Ended ended = otactl({"status"}, terminal());
    EXPECT_NE(ended.output.find("\033[1mnode        \033[0mGW-1000"), std::string::npos)
        << ended.output;
}

TEST_F(WatchText, ThereIsNoColourWhereItIsUnwanted) {
    for (const auto &[name, value] :
         std::map<std::string, std::string>{{"NO_COLOR", "1"}, {"TERM", "dumb"}}) {
        const Ended ended = otactl({"status"}, terminal({{name, value}}));
        EXPECT_EQ(ended.output.find(kEscape), std::string::npos) << name;
    }
    EXPECT_NE(otactl({"status"}, terminal({{"NO_COLOR", ""}})).output.find(kEscape),
              std::string::npos);
    EXPECT_EQ(otactl({"status", "--json"}, terminal()).output.find(kEscape), std::string::npos);
}

TEST_F(WatchText, TheDownloadIsABarThatIsRedrawn) {
    Program program(onBus({"watch"}), terminal());
    ASSERT_TRUE(program.shows("\r\nrebootTimer in 1 h")) << "the last line, not yet redrawn";
    service_.change([](service::NodeStatus &node) {
        node.percentage = 50;
        node.downloadedBytes += 1;
    });
    EXPECT_TRUE(program.shows("\r\033[K[###############---------------] 50 %"));
    service_.change([](service::NodeStatus &node) { node.stage = "verifying"; });
    EXPECT_TRUE(program.shows("verifying"));
    // The bar is gone, and the timer is the last line again.
    EXPECT_TRUE(program.shows("\r\033[KrebootTimer in 1 h"));
}

TEST_F(WatchText, ABarNeedsNoColourButATerminalThatCanRedraw) {
    for (const auto &[name, redraws] :
         std::map<std::string, bool>{{"NO_COLOR", true}, {"TERM", false}}) {
        Program program(onBus({"watch"}), terminal({{name, "dumb"}}));
        ASSERT_TRUE(program.shows("timers"));
        service_.change([](service::NodeStatus &node) { node.percentage = node.percentage + 30; });
        ASSERT_TRUE(program.shows(redraws ? "--] " : "download    ")) << name;
    }
}

TEST_F(WatchText, TimersCountDown) {
    service_.change([](service::NodeStatus &node) { node.timers = {{"rebootTimer", 59}}; });
    Program program(onBus({"watch"}), terminal());
    EXPECT_TRUE(program.shows("rebootTimer in 59 s"));
    EXPECT_TRUE(program.shows("\r\033[KrebootTimer in 58 s"));
}

TEST_F(WatchText, GoodAndBadEndsDiffer) {
    service_.change([](service::NodeStatus &node) { node.timers.clear(); });
    Program program(onBus({"watch"}), terminal());
    ASSERT_TRUE(program.shows("stage"));
    service_.raise([](service::BusService &service) {
        service.raiseFinished(base::endOf(1, base::Outcome::handedOver, {"x"}));
        service.raiseFinished(base::endOf(2, base::Outcome::hostCrashed, {"y"}));
        service.raiseStatus(R"({"status":"OTA_SW_ACTIVATION_COMPLETE"})");
    });
    EXPECT_TRUE(program.shows("\033[32m  ticket 1: handedOver, x\033[0m\r\n"));
    EXPECT_TRUE(program.shows("\033[31m  ticket 2: hostCrashed, y\033[0m\r\n"));
    EXPECT_TRUE(program.shows("\033[0m  OTA_SW_ACTIVATION_COMPLETE\r\n"));
}

} // namespace
