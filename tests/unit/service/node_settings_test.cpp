// SPDX-License-Identifier: MIT
// Settings that the bus changes: kept, in force, and refused where they cannot be kept.
#include "daemon_fixture.h"

#include "node/config/settings_overlay.h"
#include "tests/support/results.h"

#include <fstream>

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;

class SettingsOfTheNode : public DaemonTest {
  protected:
    node::Overlay keptSettings() const {
        node::Overlay overlay;
        std::string whatIsWrong;
        EXPECT_TRUE(took(node::readOverlay(config_.overlayPath()), overlay, whatIsWrong))
            << whatIsWrong;
        return overlay;
    }

    void waitUntilAnswered(const ReplyRef &reply) const {
        ASSERT_TRUE(turnUntil([&] { return reply->times > 0; }));
        EXPECT_EQ(reply->times, 1);
    }
};

TEST_F(SettingsOfTheNode, are_kept_and_in_force) {
    startUp();
    const ReplyRef reply = change("preferred_activation_time", "04:15");
    waitUntilAnswered(reply);
    EXPECT_FALSE(reply->refused) << reply->text;
    EXPECT_EQ(calls().status().preferredActivationTime, "04:15");
    EXPECT_EQ(keptSettings().preferredActivationTime, "04:15");
    EXPECT_THAT(told("setting-changed"), ElementsAre("0 0 preferred_activation_time is 04:15"));
    startUp();
    EXPECT_EQ(calls().status().preferredActivationTime, "04:15");
}

TEST_F(SettingsOfTheNode, that_change_at_the_same_time_are_all_kept) {
    startUp();
    const ReplyRef mode = change("work_mode", "AP_Bridge");
    const ReplyRef role = change("work_role", "Agent");
    const ReplyRef again = change("work_mode", "RGW");
    waitUntilAnswered(mode);
    waitUntilAnswered(role);
    waitUntilAnswered(again);
    EXPECT_EQ(keptSettings().workMode, "RGW");
    EXPECT_EQ(keptSettings().workRole, "Agent");
    EXPECT_EQ(calls().status().workMode, "RGW");
    EXPECT_EQ(calls().status().workRole, "Agent");
}

TEST_F(SettingsOfTheNode, that_cannot_be_kept_are_refused_and_the_old_ones_stay) {
    startUp();
    turnWhileBusy();
    breakStateDirectory();
    const ReplyRef lost = change("work_mode", "AP_Bridge");
    const ReplyRef alsoLost = change("work_role", "Agent");
    waitUntilAnswered(lost);
    waitUntilAnswered(alsoLost);
    EXPECT_EQ(lost->refused, Outcome::notKept);
    EXPECT_EQ(calls().status().workMode, "RGW");
    mendStateDirectory();
    waitUntilAnswered(change("onboarding", "1"));
    EXPECT_FALSE(keptSettings().workMode);
    EXPECT_EQ(keptSettings().onboarding, "1");
}

TEST_F(SettingsOfTheNode, that_cannot_be_used_are_told_and_the_configuration_holds) {
    std::ofstream(config_.overlayPath()) << "nonsense\n";
    testing::internal::CaptureStderr();
    startUp();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("settings.ini"));
    EXPECT_EQ(calls().status().workMode, "RGW");
}

} // namespace
} // namespace service::test
