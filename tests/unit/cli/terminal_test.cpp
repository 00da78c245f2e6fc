// SPDX-License-Identifier: MIT
// On a terminal: colour unless it is unwanted, a bar, timers that count down.
#include "otactl_test.h"

#include "base/outcome.h"

namespace {

class Terminal : public OtactlTest {
  protected:
    Terminal() { EXPECT_TRUE(service_.start()); }

    static Program::Surroundings terminal(std::map<std::string, std::string> environment = {}) {
        return {.terminal = true, .input = "", .environment = std::move(environment)};
    }
};

constexpr const char *kEscape = "\033";

TEST_F(Terminal, NamesAreBoldAndNothingElseIsColoured) {
    const Ended ended = otactl({"status"}, terminal());
    EXPECT_NE(ended.output.find("\033[1mnode        \033[0mGW-1000"), std::string::npos)
        << ended.output;
}

TEST_F(Terminal, ThereIsNoColourWhereItIsUnwanted) {
    for (const auto &[name, value] :
         std::map<std::string, std::string>{{"NO_COLOR", "1"}, {"TERM", "dumb"}}) {
        const Ended ended = otactl({"status"}, terminal({{name, value}}));
        EXPECT_EQ(ended.output.find(kEscape), std::string::npos) << name;
    }
    EXPECT_NE(otactl({"status"}, terminal({{"NO_COLOR", ""}})).output.find(kEscape),
              std::string::npos);
    EXPECT_EQ(otactl({"status", "--json"}, terminal()).output.find(kEscape), std::string::npos);
}

TEST_F(Terminal, TheDownloadIsABarThatIsRedrawn) {
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

TEST_F(Terminal, ABarNeedsNoColourButATerminalThatCanRedraw) {
    for (const auto &[name, redraws] :
         std::map<std::string, bool>{{"NO_COLOR", true}, {"TERM", false}}) {
        Program program(onBus({"watch"}), terminal({{name, "dumb"}}));
        ASSERT_TRUE(program.shows("timers"));
        service_.change([](service::NodeStatus &node) { node.percentage = node.percentage + 30; });
        ASSERT_TRUE(program.shows(redraws ? "--] " : "download    ")) << name;
    }
}

TEST_F(Terminal, TimersCountDown) {
    service_.change([](service::NodeStatus &node) { node.timers = {{"rebootTimer", 59}}; });
    Program program(onBus({"watch"}), terminal());
    EXPECT_TRUE(program.shows("rebootTimer in 59 s"));
    EXPECT_TRUE(program.shows("\r\033[KrebootTimer in 58 s"));
}

TEST_F(Terminal, GoodAndBadEndsDiffer) {
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
