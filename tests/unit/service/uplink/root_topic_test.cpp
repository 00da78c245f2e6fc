// SPDX-License-Identifier: MIT
// Topics say which node speaks, and of what.
#include "service/uplink/root_topic.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using Kind = service::FromExtender::Kind;

TEST(RootTopic, NamesTheNodeAndWhatItIsAbout) {
    EXPECT_EQ(service::rootTopic("otaSwAgent", "02:00:00:00:00:0A", Kind::report),
              "otaSwAgent/02:00:00:00:00:0A/report");
    EXPECT_EQ(service::rootTopic("home/ota", "02:00:00:00:00:0A", Kind::fileServer),
              "home/ota/02:00:00:00:00:0A/file-server");
    EXPECT_EQ(service::everyRootTopic("otaSwAgent", Kind::report), "otaSwAgent/+/report");
}

TEST(RootTopic, IsTakenApartAsItWasPutTogether) {
    for (const char *prefix : {"otaSwAgent", "home/ota"}) {
        for (const Kind kind : {Kind::report, Kind::fileServer}) {
            std::string mac;
            Kind found = kind == Kind::report ? Kind::fileServer : Kind::report;
            ASSERT_TRUE(
                service::parseRootTopic(prefix, service::rootTopic(prefix, "m", kind), mac, found));
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
        EXPECT_FALSE(service::parseRootTopic("otaSwAgent", topic, mac, kind)) << topic;
        EXPECT_EQ(mac, "untouched") << topic;
    }
}

} // namespace
