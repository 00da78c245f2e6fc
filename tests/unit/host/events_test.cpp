// SPDX-License-Identifier: MIT
// The host hands the agent one event at a time, and ends with one that it cannot use.
#include "host_process.h"

#include <filesystem>
#include <fstream>

namespace {

class Events : public HostProcess {};

TEST_F(Events, LeaveNoFileForTheMobileAppWhereverItIs) {
    start();
    expectStartUp();
    std::ofstream(in("ota_agent_data")) << "1\n4QZ1\n4QZ2";
    send(R"({"event":"mobile-trigger","newswavailflag":0})");
    expect({signalOf("mobileTrigger", "\"0\""), R"({"done":"mobile-trigger","deferred":0})"});
    EXPECT_FALSE(std::filesystem::exists(in("ota_agent_data")));
    EXPECT_EQ(errors(), "");
}

TEST_F(Events, LeaveNothingOfWhatAServerSentWhereTheirCallMayFetch) {
    const auto isLeftBy = [this](const char *event, const std::vector<std::string> &told) {
        std::ofstream(in("4QZ2.0.0")) << "image";
        send(event);
        expect(told);
        return std::filesystem::exists(in("4QZ2.0.0"));
    };
    start();
    expectStartUp();
    std::ofstream(in("other")) << "no image";
    EXPECT_FALSE(
        isLeftBy(R"({"event":"timer","name":"downloadRetryTimer"})",
                 {signalOf("downloadRetryTimer", "\"\""), R"({"done":"timer","deferred":0})"}));
    EXPECT_FALSE(isLeftBy(
        R"({"event":"mobile-trigger","newswavailflag":1})",
        {signalOf("mobileTrigger", "\"1\""), R"({"done":"mobile-trigger","deferred":0})"}));
    EXPECT_FALSE(
        isLeftBy(R"({"event":"new-image","descriptor":"x","config":{"OffloadDownloadActivate":0,)"
                 R"("initial_obardingStatus":0,"firsttime_polling":0}})",
                 {signalOf("newImage", "\"x|1|0|0|0\""), R"({"done":"new-image","deferred":1})"}));
    EXPECT_TRUE(std::filesystem::exists(in("other")));
    // What a call left that broke off still tells how far it came.
    EXPECT_TRUE(isLeftBy(R"({"event":"begin-anew"})", {R"({"done":"begin-anew","deferred":1})"}));
}

TEST_F(Events, GoToTheirCalls) {
    start();
    expectStartUp();
    send(R"({"event":"mobile-trigger","newswavailflag":-3})");
    expect({signalOf("mobileTrigger", "\"-3\""), R"({"done":"mobile-trigger","deferred":0})"});
    send(R"({"event":"new-image","descriptor":"not even JSON","config":)"
         R"({"OffloadDownloadActivate":255,"initial_obardingStatus":-2,"firsttime_polling":1}})");
    expect({signalOf("newImage", "\"not even JSON|1|255|-2|1\""),
            R"({"done":"new-image","deferred":1})"});
    send(R"({"event":"activation-time","record":"{}"})");
    expect({R"({"call":"notifyRoot","config":"an envelope"})", signalOf("{}", "\"0\""),
            R"({"done":"activation-time","deferred":1})"});
    for (const std::string name : {"downloadStartTimer", "downloadRetryTimer"}) {
        send(R"({"event":"timer","name":")" + name + "\"}");
        expect({signalOf(name, "\"\""), R"({"done":"timer","deferred":1})"});
    }
    send(R"({"event":"give-up-download"})");
    expect({signalOf("report", "\"OTA_RECONNECT_BUE\""),
            R"({"done":"give-up-download","deferred":1})"});
    send(R"({"event":"timer","name":"rebootTimer"})");
    expect({R"({"call":"stopTimer","name":"rebootTimer"})", signalOf("rebootTimer", "\"0\""),
            R"({"done":"timer","deferred":1})"});
}

TEST_F(Events, AreTakenOnceTheOneBeforeIsDone) {
    start();
    expectStartUp();
    send(R"({"event":"mobile-trigger","newswavailflag":1})");
    ASSERT_EQ(next(), signalOf("mobileTrigger", "\"1\""));
    send(R"({"ack":0})");
    send(R"({"event":"mobile-trigger","newswavailflag":2})");
    expect({R"({"done":"mobile-trigger","deferred":0})", signalOf("mobileTrigger", "\"2\""),
            R"({"done":"mobile-trigger","deferred":0})"});
}

struct BadEvent {
    const char *json;
    const char *complaint;
};

class BadEvents : public HostProcess, public testing::WithParamInterface<BadEvent> {};

TEST_P(BadEvents, EndTheHostWithoutACallOfTheAgent) {
    start();
    expectStartUp();
    send(GetParam().json);
    expectLastWords("none", "event");
    expectEnd(GetParam().complaint);
}

const BadEvent kBadEvents[] = {
    {R"({})", "\"event\" is missing or no text: expected a text"},
    {R"({"event":7})", "\"event\" is missing or no text: expected a text"},
    {R"({"ack":0})", "\"event\" is missing or no text: expected a text"},
    {R"({"event":"reboot"})", "the event \"reboot\" is not known: expected new-image, mobile-"},
    {R"({"event":"mobile-trigger"})", "\"mobile-trigger\": \"newswavailflag\" is missing or no"},
    {R"({"event":"mobile-trigger","newswavailflag":"1"})", "\"newswavailflag\" is missing or no"},
    {R"({"event":"mobile-trigger","newswavailflag":1.5})", "\"newswavailflag\" is missing or no"},
    {R"({"event":"mobile-trigger","newswavailflag":3e9})", "\"newswavailflag\" is missing or no"},
    {R"({"event":"activation-time","record":{}})", "\"record\" is missing or no text"},
    {R"({"event":"forget"})", "the event \"forget\": \"version\" is missing or no text"},
    {R"({"event":"timer"})", "the event \"timer\": \"name\" is missing or no text"},
    {R"({"event":"timer","name":"eggTimer"})", "the timer \"eggTimer\" is not known: expected"},
    {R"({"event":"new-image","config":{}})", "\"descriptor\" is missing or no text"},
    {R"({"event":"new-image","descriptor":"{}"})", "\"config\" is missing or no object"},
    {R"({"event":"new-image","descriptor":"{}","config":{"OffloadDownloadActivate":0,)"
     R"("initial_obardingStatus":0}})",
     "\"firsttime_polling\" is missing or no whole number"},
    {R"({"event":"new-image","descriptor":"{}","config":{"OffloadDownloadActivate":256,)"
     R"("initial_obardingStatus":0,"firsttime_polling":0}})",
     "\"OffloadDownloadActivate\" is out of range: expected 0 to 255"},
};

INSTANTIATE_TEST_SUITE_P(Host, BadEvents, testing::ValuesIn(kBadEvents));

} // namespace
