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

std::string refusalOfTime(const std::string &text) {
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

ActivationRecord acceptedTime(const std::string &text) {
    ActivationRecord activation;
    const auto refusal = checkActivationTime(text, thisNode(), activation);
    EXPECT_FALSE(refusal) << refusal->text();
    return activation;
}

TEST(ActivationTimes, BecomeAllFourKeys) {
    const ActivationRecord whole = acceptedTime(
        R"({"actTime":"3:05","sn":"SN0000000001","mac":"02:00:5e:10:00:01","model":"GW-1000"})");
    EXPECT_EQ(
        whole.record,
        R"({"model":"GW-1000","mac":"02:00:5e:10:00:01","sn":"SN0000000001","actTime":"3:05"})");
    EXPECT_EQ(whole.time, "3:05");
    EXPECT_EQ(acceptedTime(R"({"actTime":"03","x":[1]})").record,
              R"({"model":"","mac":"","sn":"","actTime":"03"})");
    EXPECT_EQ(acceptedTime(R"({"actTime":"","mac":"","sn":"","model":""})").time, "");
}

TEST(ActivationTimes, AreHoursMinutesAndSecondsOfADay) {
    for (const char *time : {"0", "00", "23", "9:5", "09:05", "23:59", "23:59:59", "0:0:0"}) {
        EXPECT_EQ(refusalOfTime(timeRecord(time)), "") << time;
    }
    for (const char *time :
         {"24",     "24:00", "12:60", "12:00:60", "-1",   "+1",     " 1",      "1 ",
          "1:",     ":1",    ":",     "1::1",     "1:2:", "1:2:3:", "1:2:3:4", "001",
          "12:001", "1h",    "noon",  "12.30",    "1:-1", "0x1"}) {
        EXPECT_EQ(refusalOfTime(timeRecord(time)), "timeMalformed actTime") << time;
    }
    EXPECT_EQ(refusalOfTime(timeRecord(std::string(31, '1'))), "timeMalformed actTime");
    EXPECT_EQ(refusalOfTime(timeRecord(std::string(32, '1'))), "keyTooLong actTime");
}

TEST(ActivationTimes, AreRefusedWhereTheyNameAnotherNode) {
    const auto with = [](const std::string &key, const std::string &text) {
        return refusalOfTime("{\"actTime\":\"3\"," + jsonText(key) + ":" + jsonText(text) + "}");
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
    EXPECT_EQ(refusalOfTime("{}"), "keyMissing actTime");
    EXPECT_EQ(refusalOfTime(R"({"acttime":"3"})"), "keyMissing actTime");
    EXPECT_EQ(refusalOfTime(R"({"actTime":3})"), "keyMistyped actTime");
    EXPECT_EQ(refusalOfTime(R"({"actTime":"3","\u0061ctTime":"4"})"), "keyRepeated actTime");
    EXPECT_EQ(refusalOfTime(R"({"actTime":"3","mac":null})"), "keyMistyped mac");
    EXPECT_EQ(refusalOfTime(R"({"actTime":"3","sn":"","sn":""})"), "keyRepeated sn");
    EXPECT_EQ(refusalOfTime(R"({"actTime":"3","model":"","model":""})"), "keyRepeated model");
    EXPECT_EQ(refusalOfTime("\"3\""), "descriptorNotOneObject record");
    EXPECT_EQ(refusalOfTime(timeRecord("3") + std::string(70000, ' ')),
              "descriptorTooLarge record");
}

TEST(ActivationTimes, AreRefusedWhereATextIsHostile) {
    for (const std::string &text : hostileTexts()) {
        if (!text.empty()) {
            EXPECT_EQ(refusalOfTime(timeRecord(text)), "timeMalformed actTime") << text;
            EXPECT_EQ(refusalOfTime(timeRecord("3:00" + text)), "timeMalformed actTime") << text;
        }
    }
    for (const std::string &bytes : badUtf8()) {
        EXPECT_EQ(refusalOfTime("{\"actTime\":\"3" + bytes + "\"}"),
                  "descriptorNotOneObject record");
    }
}

} // namespace
