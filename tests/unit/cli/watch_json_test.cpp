// SPDX-License-Identifier: MIT
// What otactl watch tells a program, on a pipe.
#include "watch_fixture.h"

#include "base/json.h"

namespace {

class WatchJson : public Watch {};

TEST_F(WatchJson, EveryEventIsAnObjectOnALine) {
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

TEST_F(WatchJson, ProgressHasNoRateBeforeThereIsOne) {
    Program program(onBus({"watch", "--json"}));
    expectBeginning(program);
    service_.change([](service::NodeStatus &node) {
        node.percentage = 1;
        node.downloadedBytes = 500;
    });
    EXPECT_EQ(program.line(), R"({"event":"progress","percent":1,"bytes":500,"rate":null,)"
                              R"("seconds_left":null})");
}

TEST_F(WatchJson, ProgressTellsRateAndTimeLeft) {
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

} // namespace
