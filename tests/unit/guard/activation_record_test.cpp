// SPDX-License-Identifier: MIT
// Which activation times are let through, and what becomes of them.
#include "descriptor.h"
#include "hostile_offers.h"

#include "guard/activation_record.h"

#include <gtest/gtest.h>

using namespace base;
using namespace guard;
using namespace guard::test;

namespace {

std::string refusalOf(const std::string &text) {
    ActivationRecord activation{"kept", "kept"};
    const auto refusal = checkActivationTime(text, thisNode(), activation);
    if (!refusal) {
        return "";
    }
    EXPECT_EQ(activation.record, "kept");
    EXPECT_EQ(activation.time, "kept");
    return std::string(rowOf(refusal->outcome).name) + " " + refusal->field;
}

std::string timeRecord(const std::string &time) { return "{\"actTime\":" + jsonText(time) + "}"; }

ActivationRecord accepted(const std::string &text) {
    ActivationRecord activation;
    const auto refusal = checkActivationTime(text, thisNode(), activation);
    EXPECT_FALSE(refusal) << refusal->text();
    return activation;
}

TEST(ActivationTimes, BecomeAllFourKeys) {
    const ActivationRecord whole = accepted(
        R"({"actTime":"3:05","sn":"SN0000000001","mac":"02:00:5e:10:00:01","model":"GW-1000"})");
    EXPECT_EQ(
        whole.record,
        R"({"model":"GW-1000","mac":"02:00:5e:10:00:01","sn":"SN0000000001","actTime":"3:05"})");
    EXPECT_EQ(whole.time, "3:05");
    EXPECT_EQ(accepted(R"({"actTime":"03","x":[1]})").record,
              R"({"model":"","mac":"","sn":"","actTime":"03"})");
    EXPECT_EQ(accepted(R"({"actTime":"","mac":"","sn":"","model":""})").time, "");
}

TEST(ActivationTimes, AreHoursMinutesAndSecondsOfADay) {
    for (const char *time : {"0", "00", "23", "9:5", "09:05", "23:59", "23:59:59", "0:0:0"}) {
        EXPECT_EQ(refusalOf(timeRecord(time)), "") << time;
    }
    for (const char *time :
         {"24",     "24:00", "12:60", "12:00:60", "-1",   "+1",     " 1",      "1 ",
          "1:",     ":1",    ":",     "1::1",     "1:2:", "1:2:3:", "1:2:3:4", "001",
          "12:001", "1h",    "noon",  "12.30",    "1:-1", "0x1"}) {
        EXPECT_EQ(refusalOf(timeRecord(time)), "timeMalformed actTime") << time;
    }
    EXPECT_EQ(refusalOf(timeRecord(std::string(31, '1'))), "timeMalformed actTime");
    EXPECT_EQ(refusalOf(timeRecord(std::string(32, '1'))), "keyTooLong actTime");
}

TEST(ActivationTimes, AreRefusedWhereTheyNameAnotherNode) {
    const auto with = [](const std::string &key, const std::string &text) {
        return refusalOf("{\"actTime\":\"3\"," + jsonText(key) + ":" + jsonText(text) + "}");
    };
    EXPECT_EQ(with("model", "GW-1001"), "wrongModel model");
    EXPECT_EQ(with("mac", "02:00:5E:10:00:02"), "wrongMac mac");
    EXPECT_EQ(with("mac", "x"), "wrongMac mac");
    EXPECT_EQ(with("sn", "sn0000000001"), "wrongMac sn");
    EXPECT_EQ(with("model", std::string(32, 'm')), "keyTooLong model");
    EXPECT_EQ(with("mac", std::string(18, 'm')), "keyTooLong mac");
    EXPECT_EQ(with("sn", std::string(32, 'm')), "keyTooLong sn");
}

TEST(ActivationTimes, NeedTheirKeyOnceAsAText) {
    EXPECT_EQ(refusalOf("{}"), "keyMissing actTime");
    EXPECT_EQ(refusalOf(R"({"acttime":"3"})"), "keyMissing actTime");
    EXPECT_EQ(refusalOf(R"({"actTime":3})"), "keyMistyped actTime");
    EXPECT_EQ(refusalOf(R"({"actTime":"3","\u0061ctTime":"4"})"), "keyRepeated actTime");
    EXPECT_EQ(refusalOf(R"({"actTime":"3","mac":null})"), "keyMistyped mac");
    EXPECT_EQ(refusalOf(R"({"actTime":"3","sn":"","sn":""})"), "keyRepeated sn");
    EXPECT_EQ(refusalOf(R"({"actTime":"3","model":"","model":""})"), "keyRepeated model");
    EXPECT_EQ(refusalOf("\"3\""), "descriptorNotOneObject record");
    EXPECT_EQ(refusalOf(timeRecord("3") + std::string(70000, ' ')), "descriptorTooLarge record");
}

TEST(ActivationTimes, AreRefusedWhereATextIsHostile) {
    for (const std::string &text : hostileTexts()) {
        if (!text.empty()) {
            EXPECT_EQ(refusalOf(timeRecord(text)), "timeMalformed actTime") << text;
            EXPECT_EQ(refusalOf(timeRecord("3:00" + text)), "timeMalformed actTime") << text;
        }
    }
    for (const std::string &bytes : badUtf8()) {
        EXPECT_EQ(refusalOf("{\"actTime\":\"3" + bytes + "\"}"), "descriptorNotOneObject record");
    }
}

} // namespace
