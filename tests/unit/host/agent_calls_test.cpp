// SPDX-License-Identifier: MIT
// What the agent asks for is asked of the supervisor, and its answer is the result.
#include "host_process.h"

#include <filesystem>

namespace {

class AgentCalls : public HostProcess {};

TEST_F(AgentCalls, HandTheFileServerInformationOverAndTellTheAgentWhatCameOfIt) {
    const std::string offer = R"({"event":"new-image","descriptor":"hand over","config":)"
                              R"({"OffloadDownloadActivate":1,"initial_obardingStatus":0,)"
                              R"("firsttime_polling":0}})";
    const std::string call = R"({"call":"fileServerInfo","info":"{\"swVersion\":\"1\"}"})";
    start();
    expectStartUp();
    send(offer);
    expect({call, signalOf("handOver", "\"0\""), R"({"done":"new-image","deferred":0})"});
    EXPECT_EQ(errors(), "");
    send(offer);
    ASSERT_EQ(next(), call);
    send(R"({"ack":7})");
    expect({signalOf("handOver", "\"-1\""), R"({"done":"new-image","deferred":0})"});
    EXPECT_EQ(
        errors(),
        "error: ota-host: the file-server information was not taken over (answer 7); the "
        "gateway does not know of the image, offer it again once the gateway can be reached\n");
    EXPECT_FALSE(std::filesystem::exists(in("file_server_info.json")));
}

TEST_F(AgentCalls, GiveTheAgentTheResultOfEachCall) {
    start();
    EXPECT_NE(next().find("initOTAlib"), std::string::npos);
    send(R"({"ack":5})");
    EXPECT_EQ(next(), nodeNote());
    EXPECT_NE(next().find("startTimer"), std::string::npos);
    send(R"({"ack":-42})");
    EXPECT_EQ(next(), signalOf("main", "\"-42\""));
}

} // namespace
