// SPDX-License-Identifier: MIT
// Which settings may change at run time, and to what.
#include "hostile_offers.h"

#include "guard/setting.h"

#include <gtest/gtest.h>

#include <string>

using namespace base;
using namespace guard;
using namespace guard::test;

namespace {

constexpr Setting kSettings[] = {Setting::workMode, Setting::workRole, Setting::onboarding,
                                 Setting::preferredActivationTime};

std::string refusalOfSetting(std::string_view name, std::string_view value) {
    Setting setting{};
    const auto refusal = checkSetting(name, value, setting);
    return refusal ? std::string(rowOf(refusal->outcome).name) + " " + refusal->field : "";
}

TEST(Settings, AreFoundByTheNameInTheConfiguration) {
    const char *values[] = {"AP_Bridge", "Agent", "1", "02:30"};
    for (const Setting expected : kSettings) {
        Setting setting{};
        const char *value = values[static_cast<std::size_t>(expected)];
        EXPECT_FALSE(checkSetting(settingName(expected), value, setting));
        EXPECT_EQ(setting, expected);
    }
    EXPECT_STREQ(settingName(Setting::workMode), "work_mode");
    EXPECT_STREQ(settingName(Setting::workRole), "work_role");
    EXPECT_STREQ(settingName(Setting::onboarding), "onboarding");
    EXPECT_STREQ(settingName(Setting::preferredActivationTime), "preferred_activation_time");
}

TEST(Settings, OfAnotherNameAreUnknown) {
    for (const char *name :
         {"", "model", "Work_Mode", "work_mode ", "tmp", "[node]", "$(reboot)"}) {
        EXPECT_EQ(refusalOfSetting(name, "1"), "settingUnknown setting") << name;
    }
    EXPECT_EQ(refusalOfSetting(std::string("work_mode\0", 10), "RGW"), "settingUnknown setting");
    EXPECT_EQ(refusalOfSetting(std::string(1024 * 1024, 'a'), "RGW"), "settingUnknown setting");
}

TEST(Settings, TakeTheValuesThatTheAgentReads) {
    EXPECT_EQ(refusalOfSetting("work_mode", "RGW"), "");
    EXPECT_EQ(refusalOfSetting("work_mode", std::string(31, 'm')), "");
    EXPECT_EQ(refusalOfSetting("work_mode", std::string(32, 'm')), "settingMalformed work_mode");
    EXPECT_EQ(refusalOfSetting("work_role", "Controller"), "");
    EXPECT_EQ(refusalOfSetting("work_role", std::string(32, 'm')), "settingMalformed work_role");
    EXPECT_EQ(refusalOfSetting("onboarding", "0"), "");
    for (const char *value : {"2", "-1", "01", "yes", "true", " 1"}) {
        EXPECT_EQ(refusalOfSetting("onboarding", value), "settingMalformed onboarding") << value;
    }
    EXPECT_EQ(refusalOfSetting("preferred_activation_time", "23:59:59"), "");
    EXPECT_EQ(refusalOfSetting("preferred_activation_time", "24:00"),
              "settingMalformed preferred_activation_time");
}

// None of them may break out of its line in the settings file.
TEST(Settings, TakeNoHostileValue) {
    for (const Setting setting : kSettings) {
        for (const std::string &text : hostileTexts()) {
            EXPECT_NE(refusalOfSetting(settingName(setting), text), "") << text;
        }
        for (const std::string &bytes : badUtf8()) {
            EXPECT_NE(refusalOfSetting(settingName(setting), "1" + bytes), "");
        }
        EXPECT_NE(refusalOfSetting(settingName(setting), std::string("1\0", 2)), "");
        EXPECT_NE(refusalOfSetting(settingName(setting), std::string(1024 * 1024, '1')), "");
    }
}

} // namespace
