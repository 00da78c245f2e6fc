// SPDX-License-Identifier: MIT
// Topics say which node speaks, and of what.
#include "host/daemon/root/root_topic.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using Kind = otad::FromExtender::Kind;

TEST(RootTopic, NamesTheNodeAndWhatItIsAbout) {
    EXPECT_EQ(otad::rootTopic("otaSwAgent", "02:00:00:00:00:0A", Kind::report),
              "otaSwAgent/02:00:00:00:00:0A/report");
    EXPECT_EQ(otad::rootTopic("home/ota", "02:00:00:00:00:0A", Kind::fileServer),
              "home/ota/02:00:00:00:00:0A/file-server");
    EXPECT_EQ(otad::everyRootTopic("otaSwAgent", Kind::report), "otaSwAgent/+/report");
}

TEST(RootTopic, IsTakenApartAsItWasPutTogether) {
    for (const char *prefix : {"otaSwAgent", "home/ota"}) {
        for (const Kind kind : {Kind::report, Kind::fileServer}) {
            std::string mac;
            Kind found = kind == Kind::report ? Kind::fileServer : Kind::report;
            ASSERT_TRUE(
                otad::parseRootTopic(prefix, otad::rootTopic(prefix, "m", kind), mac, found));
            EXPECT_EQ(mac, "m");
            EXPECT_EQ(found, kind);
        }
    }
}

TEST(RootTopic, OfAnotherShapeIsNotTaken) {
    for (const char *topic : {"", "otaSwAgent", "otaSwAgent/report", "otaSwAgent/m/reports",
                              "otaSwAgent/m", "other/m/report", "otaSwAgentX/m/report"}) {
        std::string mac = "untouched";
        Kind kind = Kind::report;
        EXPECT_FALSE(otad::parseRootTopic("otaSwAgent", topic, mac, kind)) << topic;
        EXPECT_EQ(mac, "untouched") << topic;
    }
}

} // namespace
