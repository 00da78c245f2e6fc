// SPDX-License-Identifier: MIT
// The bus comes late, goes away, comes back, or never lets the service in.
#include "bus_test.h"

#include <filesystem>

namespace {

class BusConnections : public BusTest {
  protected:
    std::string eventsWithout(const std::string &text) const {
        std::string all;
        for (const std::string &event : events_) {
            std::string line = event;
            if (const auto at = line.find(text); at != std::string::npos) {
                line.erase(at, text.size());
            }
            all += line + "\n";
        }
        return all;
    }
};

TEST_F(BusConnections, AfterTheBusDiedEverythingWorksAgain) {
    startService();
    const ReplyRef unanswered = client_->call("TriggerMobileApp", "i", 1);
    ASSERT_TRUE(comesTrue([this] { return daemon_.pending.size() == 1; }));
    bus_.kill();
    EXPECT_FALSE(service_->raiseStatus("before the loop has seen it"));
    ASSERT_TRUE(comesTrue([this] { return events_.size() == 2; }));
    EXPECT_FALSE(service_->connected());
    EXPECT_FALSE(service_->raiseStatus("{}"));
    service_->raiseFinished(base::endOf(1, base::Outcome::done, {""}));
    daemon_.node.stage = "writing";
    service_->statusChanged();
    daemon_.pending[0](nullptr, 3);

    ASSERT_TRUE(bus_.start());
    ASSERT_TRUE(comesTrue([this] { return service_->connected(); }));
    client_ = std::make_unique<Client>(loop_.get(), bus_.address());
    ASSERT_TRUE(arrives(client_->listen()));
    daemon_.pending.clear();
    daemon_.ticket = 4;
    EXPECT_EQ(resultOf(client_->call("TriggerMobileApp", "i", 2)), "4");
    EXPECT_EQ(resultOf(client_->property("Stage")), "\"writing\"");
    EXPECT_TRUE(service_->raiseStatus("again"));
    daemon_.node.stage = "idle";
    service_->statusChanged();
    EXPECT_EQ(heard(), (std::vector<std::string>{
                           "updateUpgradeStatus \"again\"",
                           "PropertiesChanged \"velmo.otaSwAgent\" [\"Stage\"=\"idle\"] []"}));
    bus_.kill();
    ASSERT_TRUE(comesTrue([this] { return events_.size() == 4; }));
    const std::string lost = "lost: bus : the connection was lost; it is tried again until it is "
                             "back\n";
    EXPECT_EQ(eventsWithout(bus_.address()), "connected\n" + lost + "connected\n" + lost);
}

TEST_F(BusConnections, ABusThatComesLateIsWaitedForAndToldOnce) {
    service_ = newService(bus_.address());
    ASSERT_TRUE(service_->start());
    EXPECT_FALSE(service_->connected());
    // Far more turns than it takes to try again several times.
    for (int turn = 0; turn < 20; ++turn) {
        ASSERT_GE(sd_event_run(loop_.get(), 5'000), 0);
    }
    ASSERT_TRUE(bus_.start());
    ASSERT_TRUE(comesTrue([this] { return service_->connected(); }));
    EXPECT_EQ(eventsWithout(bus_.address()),
              "lost: bus : cannot be reached: No such file or directory; it is tried again until "
              "it is back\nconnected\n");
}

TEST_F(BusConnections, ANameThatAnotherOwnsIsWrongForGood) {
    startService();
    const auto second = newService(bus_.address());
    ASSERT_TRUE(second->start());
    ASSERT_TRUE(comesTrue([this] { return events_.size() == 2; }));
    EXPECT_FALSE(second->connected());
    EXPECT_FALSE(second->raiseStatus("{}"));
    EXPECT_EQ(eventsWithout(bus_.address()),
              "connected\nrefused: bus : another process owns the name velmo.otaSwAgent; stop it "
              "first\n");
    // The first one is untouched, and the second stays away when the bus comes back.
    EXPECT_EQ(resultOf(client_->property("Stage")), "\"idle\"");
    service_.reset();
    bus_.kill();
    ASSERT_TRUE(bus_.start());
    for (int turn = 0; turn < 20; ++turn) {
        ASSERT_GE(sd_event_run(loop_.get(), 5'000), 0);
    }
    EXPECT_EQ(events_.size(), 2U);
}

TEST_F(BusConnections, AnAddressThatCanNeverWorkIsRefusedAtOnce) {
    EXPECT_EQ(newService("nonsense")->start().error().text,
              "bus nonsense: not the address of a message bus; write it like "
              "unix:path=/run/dbus/system_bus_socket");
    const std::string deep = "unix:path=/" + std::string(107, 'd');
    EXPECT_EQ(newService(deep)->start().error().text,
              "bus " + deep + ": the path of the socket is too long; it may have 107 characters");
    EXPECT_EQ(events_.size(), 0U);
}

TEST_F(BusConnections, WithoutAnAddressItIsTheSystemBus) {
    ASSERT_TRUE(bus_.start());
    ASSERT_EQ(setenv("DBUS_SYSTEM_BUS_ADDRESS", bus_.address().c_str(), 1), 0);
    service_ = newService("");
    ASSERT_TRUE(service_->start());
    ASSERT_TRUE(comesTrue([this] { return service_->connected(); }));
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    client_ = std::make_unique<Client>(loop_.get(), bus_.address());
    EXPECT_EQ(resultOf(client_->property("Stage")), "\"idle\"");
}

TEST_F(BusConnections, AServiceThatEndsGivesTheNameBack) {
    startService();
    service_.reset();
    service_ = newService(bus_.address());
    ASSERT_TRUE(service_->start());
    ASSERT_TRUE(comesTrue([this] { return service_->connected(); }));
    EXPECT_EQ(resultOf(client_->property("Stage")), "\"idle\"");
}

} // namespace
