// SPDX-License-Identifier: MIT
// What was changed at run time survives a file and never goes beyond four keys.
#include "fixture.h"
#include "node/config/settings_overlay.h"
#include "tests/support/results.h"

#include <filesystem>
#include <sys/stat.h>

namespace {

class SettingsOverlay : public InTemporaryDirectory {
  protected:
    std::string path() const { return in("settings.ini"); }
};

TEST_F(SettingsOverlay, ComesBackAsItWasPrinted) {
    const node::Overlay written{"AP_Bridge", "My Role", "1", "04:05:06"};
    writeText(path(), node::printOverlay(written));
    node::Overlay read;
    std::string whatIsWrong;
    ASSERT_TRUE(took(node::readOverlay(path()), read, whatIsWrong)) << whatIsWrong;
    EXPECT_EQ(read.workMode, "AP_Bridge");
    EXPECT_EQ(read.workRole, "My Role");
    EXPECT_EQ(read.onboarding, "1");
    EXPECT_EQ(read.preferredActivationTime, "04:05:06");
    node::Config config;
    config.model = "GW";
    node::applyOverlay(read, config);
    EXPECT_EQ(config.workMode, "AP_Bridge");
    EXPECT_EQ(config.workRole, "My Role");
    EXPECT_EQ(config.onboarding, 1);
    EXPECT_EQ(config.preferredActivationTime, "04:05:06");
    EXPECT_EQ(config.model, "GW");
}

TEST_F(SettingsOverlay, WithOneKeyLeavesTheOthersOfTheConfiguration) {
    writeText(path(), node::printOverlay({{}, {}, "0", {}}));
    node::Overlay read;
    std::string whatIsWrong;
    ASSERT_TRUE(took(node::readOverlay(path()), read, whatIsWrong)) << whatIsWrong;
    node::Config config;
    config.workMode = "RGW";
    config.onboarding = 1;
    node::applyOverlay(read, config);
    EXPECT_EQ(config.workMode, "RGW");
    EXPECT_EQ(config.onboarding, 0);
}

TEST_F(SettingsOverlay, ThatDoesNotExistIsEmpty) {
    node::Overlay overlay{"RGW", {}, {}, {}};
    std::string whatIsWrong;
    EXPECT_TRUE(took(node::readOverlay(path()), overlay, whatIsWrong)) << whatIsWrong;
    EXPECT_FALSE(overlay.workMode.has_value());
}

TEST_F(SettingsOverlay, IsNotWaitedForWhereAPipeStandsInItsPlace) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    node::Overlay overlay;
    std::string whatIsWrong;
    EXPECT_FALSE(took(node::readOverlay(path()), overlay, whatIsWrong));
    EXPECT_EQ(whatIsWrong, path() + ": is no regular file; replace it by one");
}

TEST_F(SettingsOverlay, ThatIsDamagedIsRefusedWithItsLineAndLeavesTheOldOne) {
    const std::pair<std::string, const char *> damaged[] = {
        {"[node]\nmodel = X\n",
         ":2: [node] model cannot change at run time: expected [node] work_"},
        {"[paths]\ntmp = /x\n", ":2: [paths] tmp cannot change at run time"},
        {"[node]\nonboarding = 2\n", ":2: [node] onboarding is \"2\": expected 0 or 1"},
        {"[node]\npreferred_activation_time = 25:00\n", ":2: [node] preferred_activation_time is"},
        {"[node]\nwork_mode = " + std::string(32, 'x') + "\n",
         "32 characters: expected at most 31"},
        {"[node]\nwork_mo", ":2: expected \"[section]\""},
        {"[node]\nwork_mode = a\nwork_mode = b\n", ":3: [node] work_mode is given a second time"},
        {std::string(5000, '#'), ": is larger than 4096 bytes"},
    };
    for (const auto &[text, complaint] : damaged) {
        writeText(path(), text);
        node::Overlay overlay{"RGW", {}, {}, {}};
        std::string whatIsWrong;
        EXPECT_FALSE(took(node::readOverlay(path()), overlay, whatIsWrong)) << text;
        EXPECT_EQ(whatIsWrong.find(path()), 0U) << whatIsWrong;
        EXPECT_NE(whatIsWrong.find(complaint), std::string::npos) << whatIsWrong;
        EXPECT_EQ(overlay.workMode, "RGW");
    }
    std::filesystem::remove(path());
    std::filesystem::create_directory(path());
    node::Overlay overlay;
    std::string whatIsWrong;
    EXPECT_FALSE(took(node::readOverlay(path()), overlay, whatIsWrong));
    EXPECT_NE(whatIsWrong.find("cannot be read"), std::string::npos) << whatIsWrong;
}

} // namespace
