// SPDX-License-Identifier: MIT
// The properties: their values, and what is told of their changes.
#include "bus_test.h"

#include "service/bus/properties.h"

namespace {

using namespace std::chrono_literals;
using Signals = std::vector<std::string>;

service::NodeStatus busyNode() {
    service::NodeStatus node;
    node.statusWord = "OTA_START";
    node.statusRecord = "{\"status\":\"OTA_START\"}";
    node.stage = "downloading";
    node.version = "4QZ-1.2.3";
    node.percentage = 42;
    node.downloadedBytes = 5'000'000'000;
    node.timers = {{"rebootTimer", 3600}, {"downloadRetryTimer", 5}};
    node.deferred = true;
    node.banks = {{"bank0", "4QZ-1.0", true, true, false}, {"bank1", "", false, false, true}};
    node.bankTrials = {{"bank0", false, 0, 0, ""}, {"bank1", true, 2, 3, "health"}};
    node.waitReasonCode = "file-not-found";
    node.waitReason = "it answered 404";
    node.lastEnd = {11, 52, "flashWriteFailed", "not-signed", "it is not signed"};
    node.runningVersion = "4QZ-1.0";
    node.nextVersion = "4QZ-1.1";
    node.activationTime = "03:30";
    node.failedVersions = {{"4QZ-2.0", 3, "health", true}, {"4QZ-3.0", 1, "boot", false}};
    node.uptime = 123456;
    node.queued = 3;
    node.ticket = 12;
    node.model = "M1";
    node.serial = "S1";
    node.mac = "02:00:00:00:00:01";
    node.workMode = "Router";
    node.workRole = "Controller";
    node.preferredActivationTime = "02:30";
    node.onboarding = -1;
    node.rootConnected = true;
    node.daemonVersion = OTA_VERSION;
    return node;
}

std::vector<std::string> changed(const service::NodeStatus &before, const service::NodeStatus &now,
                                 std::chrono::seconds passed = 0s) {
    std::vector<std::string> names;
    for (const char *name : service::changedProperties(before, now, passed)) {
        if (name != nullptr) {
            names.emplace_back(name);
        }
    }
    return names;
}

class BusProperties : public BusTest {
  protected:
    void SetUp() override {
        daemon_.node = busyNode();
        startService();
    }
};

TEST_F(BusProperties, EachIsReadAsTheDaemonHoldsIt) {
    const std::vector<std::pair<const char *, std::string>> expected = {
        {"StatusWord", "\"OTA_START\""},
        {"StatusRecord", "\"{\"status\":\"OTA_START\"}\""},
        {"Stage", "\"downloading\""},
        {"Percentage", "42"},
        {"DownloadedBytes", "5000000000"},
        {"Timers", "[(\"rebootTimer\" 3600) (\"downloadRetryTimer\" 5)]"},
        {"Deferred", "true"},
        {"Banks", "[(\"bank0\" \"4QZ-1.0\" true true false) (\"bank1\" \"\" false false true)]"},
        {"BankTrials", "[(\"bank0\" false 0 0 \"\") (\"bank1\" true 2 3 \"health\")]"},
        {"FailedVersions", "[(\"4QZ-2.0\" 3 \"health\" true) (\"4QZ-3.0\" 1 \"boot\" false)]"},
        {"Uptime", "123456"},
        {"Queued", "3"},
        {"Ticket", "12"},
        {"OfferedVersion", "\"4QZ-1.2.3\""},
        {"Model", "\"M1\""},
        {"Serial", "\"S1\""},
        {"Mac", "\"02:00:00:00:00:01\""},
        {"WorkMode", "\"Router\""},
        {"WorkRole", "\"Controller\""},
        {"Onboarding", "-1"},
        {"PreferredActivationTime", "\"02:30\""},
        {"WaitReasonCode", "\"file-not-found\""},
        {"WaitReason", "\"it answered 404\""},
        {"LastEnd", "(11 52 \"flashWriteFailed\" \"not-signed\" \"it is not signed\")"},
        {"RunningVersion", "\"4QZ-1.0\""},
        {"NextVersion", "\"4QZ-1.1\""},
        {"ActivationTime", "\"03:30\""},
        {"RootConnected", "true"},
        {"DaemonVersion", "\"" OTA_VERSION "\""},
        {"TrialSupported", "true"}};
    std::string all;
    for (const auto &[name, value] : expected) {
        EXPECT_EQ(resultOf(client_->property(name)), value) << name;
        all += (all.empty() ? "\"" : " \"") + std::string(name) + "\"=" + value;
    }
    EXPECT_EQ(resultOf(client_->callOn("org.freedesktop.DBus.Properties", "GetAll", "s",
                                       service::kBusInterface)),
              "[" + all + "]");
}

TEST_F(BusProperties, NoneMayBeWritten) {
    const ReplyRef reply = client_->callOn("org.freedesktop.DBus.Properties", "Set", "ssv",
                                           service::kBusInterface, "Stage", "s", "idle");
    ASSERT_TRUE(arrives(reply));
    EXPECT_EQ(reply->error, "org.freedesktop.DBus.Error.PropertyReadOnly");
}

TEST_F(BusProperties, BytesThatABusForbidsAreSpelledAndKeepTheConnection) {
    daemon_.node.statusRecord = "bad \xFF byte";
    daemon_.node.banks[0].version = "\xC3";
    EXPECT_EQ(resultOf(client_->property("StatusRecord")), "\"bad \\xff byte\"");
    service_->statusChanged();
    EXPECT_TRUE(service_->raiseStatus("\xED\xA0\x80"));
    EXPECT_EQ(heard().size(), 2U);
    EXPECT_EQ(events_, Signals{"connected"});
}

TEST_F(BusProperties, OneMessageTellsWhatDiffersAndNothingElse) {
    service_->statusChanged();
    EXPECT_EQ(heard(), Signals{});
    daemon_.node.stage = "verifying";
    daemon_.node.percentage = 100;
    daemon_.node.uptime += 5;
    service_->statusChanged();
    service_->statusChanged();
    EXPECT_EQ(heard(), Signals{"PropertiesChanged \"velmo.otaSwAgent\" [\"Stage\"=\"verifying\" "
                               "\"Percentage\"=100] []"});
}

TEST_F(BusProperties, TheTickOfATimerIsNotTold) {
    daemon_.node.timers[0].seconds -= 1;
    service_->statusChanged();
    EXPECT_EQ(heard(), Signals{});
    daemon_.node.timers.pop_back();
    service_->statusChanged();
    EXPECT_EQ(heard(),
              Signals{"PropertiesChanged \"velmo.otaSwAgent\" [\"Timers\"=[(\"rebootTimer\" "
                      "3599)]] []"});
}

TEST(ChangedProperties, EveryFieldButTheUptimeCountsUnderItsOwnName) {
    const service::NodeStatus idle;
    service::NodeStatus busy = busyNode();
    EXPECT_EQ(
        changed(idle, busy),
        (Signals{"StatusWord",      "StatusRecord",   "Stage",        "Percentage",
                 "DownloadedBytes", "Timers",         "Deferred",     "Banks",
                 "BankTrials",      "FailedVersions", "Queued",       "Ticket",
                 "OfferedVersion",  "Model",          "Serial",       "Mac",
                 "WorkMode",        "WorkRole",       "Onboarding",   "PreferredActivationTime",
                 "WaitReasonCode",  "WaitReason",     "LastEnd",      "RunningVersion",
                 "NextVersion",     "ActivationTime", "RootConnected"}));
    EXPECT_EQ(changed(busy, busy), Signals{});
    service::NodeStatus later = busy;
    later.uptime += 1;
    EXPECT_EQ(changed(busy, later), Signals{});
}

TEST(ChangedProperties, ATimerDiffersWhereItIsArmedAnew) {
    service::NodeStatus before;
    service::NodeStatus now;
    const auto timers = [&](std::uint32_t was, std::uint32_t is, std::chrono::seconds passed) {
        before.timers = {{"rebootTimer", was}};
        now.timers = {{"rebootTimer", is}};
        return !changed(before, now, passed).empty();
    };
    EXPECT_FALSE(timers(100, 100, 0s));
    EXPECT_FALSE(timers(100, 40, 60s));
    EXPECT_FALSE(timers(100, 41, 60s));
    EXPECT_FALSE(timers(100, 38, 60s));
    EXPECT_TRUE(timers(100, 100, 60s));
    EXPECT_TRUE(timers(100, 10, 60s));
    EXPECT_TRUE(timers(100, 4294967295, 0s));
    EXPECT_TRUE(timers(4294967295, 100, 0s));
    EXPECT_FALSE(timers(5, 0, 600s));
    EXPECT_TRUE(timers(5, 5, 600s));
}

TEST(ChangedProperties, AnotherTimerOfTheSameLengthDiffers) {
    service::NodeStatus before;
    service::NodeStatus now;
    before.timers = {{"rebootTimer", 5}};
    now.timers = {{"downloadRetryTimer", 5}};
    EXPECT_EQ(changed(before, now), Signals{"Timers"});
    now.timers = {{"rebootTimer", 5}, {"downloadRetryTimer", 5}};
    EXPECT_EQ(changed(before, now), Signals{"Timers"});
    now.timers.clear();
    EXPECT_EQ(changed(before, now), Signals{"Timers"});
}

} // namespace
