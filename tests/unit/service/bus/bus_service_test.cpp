// SPDX-License-Identifier: MIT
// The signals: name, contents, sender.
#include "bus_test.h"

namespace {

class BusSignals : public BusTest {
  protected:
    void SetUp() override { startService(); }
};

TEST_F(BusSignals, EachCarriesItsValuesUnderItsName) {
    EXPECT_TRUE(service_->raiseStatus("{\"status\":\"OTA_START\"}"));
    service_->raiseExtenderStatus("02:00:00:00:00:02", "{\"a\":1}");
    service_->raiseExtenderFileServer("02:00:00:00:00:03", "{\"b\":2}");
    service_->raiseFinished(base::endOf(9, base::Outcome::checksumFailed,
                                        {"it differs", base::Reason::checksumDiffers}));
    service_->raiseHistory("{\"event\":\"boot\"}");
    EXPECT_EQ(heard(),
              (std::vector<std::string>{R"(updateUpgradeStatus "{"status":"OTA_START"}")",
                                        R"(extenderUpgradeStatus "02:00:00:00:00:02" "{"a":1}")",
                                        R"(extenderFileServerInfo "02:00:00:00:00:03" "{"b":2}")",
                                        R"(requestEnded 9 ["code"=51 "result"="checksumFailed" )"
                                        R"("reason_code"="checksum-differs" "reason"="it differs" )"
                                        R"("remedy"="compare the image on the file server with )"
                                        R"(the checksum of the offer"])",
                                        R"(requestFinished 9 51 "checksumFailed" "it differs")",
                                        R"(historyAdded "{"event":"boot"}")"}));
}

TEST_F(BusSignals, TheSenderIsTheOwnerOfTheName) {
    const ReplyRef owner = client_->ownerOf(service::kBusName);
    ASSERT_TRUE(arrives(owner));
    EXPECT_TRUE(service_->raiseStatus("{}"));
    daemon_.node.stage = "writing";
    service_->statusChanged();
    ASSERT_TRUE(comesTrue([this] { return client_->heard.size() == 2; }));
    for (const Heard &signal : client_->heard) {
        EXPECT_EQ('"' + signal.sender + '"', owner->content) << signal.member;
    }
    EXPECT_EQ(client_->heard[0].interface, "velmo.otaSwAgent");
    EXPECT_EQ(client_->heard[1].interface, "org.freedesktop.DBus.Properties");
}

TEST_F(BusSignals, WithoutABusAStatusIsReportedAsNotTaken) {
    const auto other = newService(bus_.address());
    EXPECT_FALSE(other->raiseStatus("{}"));
    other->raiseHistory("{}");
    other->statusChanged();
    EXPECT_EQ(heard(), std::vector<std::string>{});
}

} // namespace
