// SPDX-License-Identifier: MIT
// otactl watch goes on while the service, or the bus itself, goes away and comes back.
#include "watch_fixture.h"

#include "base/outcome.h"

#include <systemd/sd-bus.h>

namespace {

constexpr const char *kRunning = R"({"event":"service","running":true})";
constexpr const char *kAway = R"({"event":"service","running":false})";

class NodeWatch : public OtactlTest {
  protected:
    static void expectSnapshot(Program &program) {
        EXPECT_EQ(program.line().find(R"({"event":"snapshot",)"), 0U);
    }
};

TEST_F(NodeWatch, WithoutTheServiceItWaitsForIt) {
    Program program(onBus({"watch", "--json"}));
    EXPECT_EQ(program.line(), kAway);
    ASSERT_TRUE(service_.start());
    EXPECT_EQ(program.line(), kRunning);
    expectSnapshot(program);
}

TEST_F(NodeWatch, ARestartOfTheServiceIsToldAndSurvived) {
    ASSERT_TRUE(service_.start());
    Program program(onBus({"watch", "--json"}));
    EXPECT_EQ(program.line(), kRunning);
    expectSnapshot(program);
    for (int i = 0; i < 3; ++i) {
        service_.stop();
        EXPECT_EQ(program.line(), kAway);
        service_.node.stage = "waiting";
        ASSERT_TRUE(service_.start());
        EXPECT_EQ(program.line(), kRunning);
        EXPECT_NE(program.line().find(R"("stage":"waiting")"), std::string::npos);
    }
    service_.raise([](service::BusService &service) { service.raiseHistory("{}"); });
    EXPECT_EQ(program.line(), R"({"event":"history","line":{}})");
}

TEST_F(NodeWatch, AnEndThatWasToldToNobodyIsFoundInTheHistory) {
    ASSERT_TRUE(service_.start());
    Program program(onBus({"watch", "--until-finished", "6", "--json"}));
    EXPECT_EQ(program.line(), kRunning);
    expectSnapshot(program);
    service_.stop();
    service_.historyLines = {
        R"({"event":"finished","ticket":6,"code":61,"result":"hostCrashed","reason":"thrice"})"};
    ASSERT_TRUE(service_.start());
    EXPECT_TRUE(program.shows(R"("result":"hostCrashed")"));
    EXPECT_EQ(program.code(), 61);
}

TEST_F(NodeWatch, ARestartOfTheBusIsSurvivedToo) {
    ASSERT_TRUE(service_.start());
    Program program(onBus({"watch", "--json"}));
    EXPECT_EQ(program.line(), kRunning);
    expectSnapshot(program);
    bus_.kill();
    EXPECT_EQ(program.line(), kAway);
    ASSERT_TRUE(bus_.start());
    EXPECT_EQ(program.line(), kRunning);
    expectSnapshot(program);
}

TEST_F(NodeWatch, SignalsOfAnybodyElseAreNotTheServices) {
    ASSERT_TRUE(service_.start());
    Program program(onBus({"watch", "--json"}));
    EXPECT_EQ(program.line(), kRunning);
    expectSnapshot(program);
    sd_bus *raw = nullptr;
    ASSERT_GE(sd_bus_new(&raw), 0);
    const service::Bus stranger(raw);
    ASSERT_GE(sd_bus_set_address(raw, bus_.address().c_str()), 0);
    ASSERT_GE(sd_bus_set_bus_client(raw, 1), 0);
    ASSERT_GE(sd_bus_start(raw), 0);
    const char *name = nullptr;
    ASSERT_GE(sd_bus_get_unique_name(raw, &name), 0);
    // To the watcher alone: the bus delivers that without asking whether it subscribed.
    const std::string ours = name;
    const int number = std::stoi(ours.substr(ours.find('.') + 1));
    for (int client = 0; client < number; ++client) {
        sd_bus_message *message = nullptr;
        ASSERT_GE(sd_bus_message_new_signal(raw, &message, "/velmo/otaSwAgent", "velmo.otaSwAgent",
                                            "requestFinished"),
                  0);
        const service::BusMessage owned(message);
        ASSERT_GE(sd_bus_message_append(message, "tuss", std::uint64_t{6}, 0U, "done", ""), 0);
        ASSERT_GE(sd_bus_message_set_destination(message, (":1." + std::to_string(client)).c_str()),
                  0);
        ASSERT_GE(sd_bus_send(raw, message, nullptr), 0);
    }
    ASSERT_GE(sd_bus_flush(raw), 0);
    // A call of its own, so that the bus has delivered what was sent before.
    sd_bus_creds *credentials = nullptr;
    ASSERT_GE(sd_bus_get_name_creds(raw, "velmo.otaSwAgent", 0, &credentials), 0);
    sd_bus_creds_unref(credentials);
    service_.raise([](service::BusService &service) { service.raiseHistory("{}"); });
    EXPECT_EQ(program.line(), R"({"event":"history","line":{}})");
}

} // namespace
