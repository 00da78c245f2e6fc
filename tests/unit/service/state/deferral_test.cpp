// SPDX-License-Identifier: MIT
// Why an offer was put off, and when it would go on, as the agent classifies modes and roles.
#include "service/state/deferral.h"

#include <gtest/gtest.h>

namespace service {
namespace {

NodeStatus offered(const std::string &mode, const std::string &role, int onboarding) {
    NodeStatus status;
    status.version = "4QZ2";
    status.workMode = mode;
    status.workRole = role;
    status.onboarding = onboarding;
    return status;
}

TEST(Deferral, OfADownloadEndsOnAGatewayThatIsNotOnboarded) {
    EXPECT_TRUE(wouldGoOn(offered("RGW", "", 0)));
    EXPECT_TRUE(wouldGoOn(offered("AP_Bridge", "Controller", 0)));
    EXPECT_FALSE(wouldGoOn(offered("AP_Bridge", "Agent", 0)));
    EXPECT_FALSE(wouldGoOn(offered("RGW", "", 1)));
    EXPECT_TRUE(isPutOffByMode(offered("AP_Bridge", "Agent", 1)));
    EXPECT_FALSE(isPutOffByMode(offered("RGW", "", 1)));
    EXPECT_EQ(whyPutOff(offered("AP_Bridge", "Agent", 0)),
              "the node is no gateway now (work mode AP_Bridge, work role Agent)");
    EXPECT_EQ(whyPutOff(offered("RGW", "", 1)), "the node is being onboarded");
}

TEST(Deferral, OfAnImageInTheBankEndsWithTheOnboarding) {
    NodeStatus status = offered("AP_Bridge", "Agent", 1);
    BankView passive;
    passive.whole = true;
    passive.version = status.version;
    status.banks = {passive};
    EXPECT_EQ(passiveVersion(status), "4QZ2");
    EXPECT_FALSE(isPutOffByMode(status));
    EXPECT_FALSE(wouldGoOn(status));
    status.onboarding = 0;
    EXPECT_TRUE(wouldGoOn(status));
    status.banks[0].running = true;
    EXPECT_EQ(passiveVersion(status), "");
    EXPECT_FALSE(wouldGoOn(status)) << "nothing is in the bank: it waits for a download";
}

} // namespace
} // namespace service
