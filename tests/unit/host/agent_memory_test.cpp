// SPDX-License-Identifier: MIT
// What the agent remembers comes with the end of every event, and a new process takes it up.
#include "host_process.h"

namespace {

constexpr const char *kFresh =
    R"({"swInfo":{"model":"","nxtMSVersion":"","fileServerURL":"","checksum":"","mac":"","policy":0},)"
    R"("swActTime":{"model":"","mac":"","sn":"","actTime":""},)"
    R"("otaLibConfig":{"OffloadDownloadActivate":0,"initial_obardingStatus":0,"firsttime_polling":0},)"
    R"("g_rebootTime":"","g_dwldStartTimer":0,"g_dwldRetryTimer":0,"g_mobileTriggerExpire":0,)"
    R"("g_mAppRebootTrig":0,"g_ISDeferedUpgrade":0,)"
    R"("g_firstTimeObardingWindowGivenPSNWBuildSame":1,"reboot_flag":0})";

constexpr const char *kFull =
    R"({"swInfo":{"model":"GW \"x\"","nxtMSVersion":"4QZ-2","fileServerURL":"http://h/i",)"
    R"("checksum":"0123456789abcdef0123456789abcdef","mac":"02:00:00:AB:CD:EF","policy":-3},)"
    R"("swActTime":{"model":"m","mac":"a","sn":"s","actTime":"03:04:05"},)"
    R"("otaLibConfig":{"OffloadDownloadActivate":255,"initial_obardingStatus":-1,)"
    R"("firsttime_polling":1},"g_rebootTime":"23:59","g_dwldStartTimer":1,"g_dwldRetryTimer":2,)"
    R"("g_mobileTriggerExpire":3,"g_mAppRebootTrig":4,"g_ISDeferedUpgrade":5,)"
    R"("g_firstTimeObardingWindowGivenPSNWBuildSame":-2147483648,"reboot_flag":2147483647})";

std::string restoreOf(const std::string &memory) {
    return R"({"event":"restore","memory":)" + memory + "}";
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

class AgentMemory : public HostProcess {
  protected:
    AgentMemory() {
        start();
        expectStartUp();
    }

    void restore(const std::string &memory) {
        send(restoreOf(memory));
        expect({R"({"done":"restore","deferred":0})"});
    }
};

TEST_F(AgentMemory, IsThatOfAFreshAgentAfterTheStart) { EXPECT_EQ(memory_, kFresh); }

TEST_F(AgentMemory, IsTakenUpWholeAndComesBackTheSame) {
    restore(kFull);
    EXPECT_EQ(memory_, kFull);
    send(R"({"event":"mobile-trigger","newswavailflag":1})");
    expect({signalOf("mobileTrigger", "\"1\""), R"({"done":"mobile-trigger","deferred":0})"});
    EXPECT_EQ(memory_, kFull);
    restore(kFresh);
    EXPECT_EQ(memory_, kFresh) << "nothing of the earlier one is left behind a shorter text";
}

TEST_F(AgentMemory, TakesTextsOfTheFullWidthsAndNothingLonger) {
    const std::string url(8191, 'u');
    restore(replaced(kFull, "http://h/i", url));
    EXPECT_EQ(memory_, replaced(kFull, "http://h/i", url));
}

struct BadMemory {
    const char *from;
    std::string to;
    const char *complaint;
};

TEST_F(AgentMemory, ThatIsMalformedIsRefusedWithOneLineAndChangesNothing) {
    restore(kFull);
    const BadMemory cases[] = {
        {"http://h/i", std::string(8192, 'u'),
         R"("swInfo": "fileServerURL" has 8192 characters: expected at most 8191)"},
        {"02:00:00:AB:CD:EF", std::string(18, 'm'),
         R"("swInfo": "mac" has 18 characters: expected at most 17)"},
        {"4QZ-2", std::string(64, 'v'),
         R"("swInfo": "nxtMSVersion" has 64 characters: expected at most 63)"},
        {"03:04:05", std::string(32, 't'),
         R"("swActTime": "actTime" has 32 characters: expected at most 31)"},
        {"23:59", std::string(32, 't'), R"("g_rebootTime" has 32 characters: expected at most 31)"},
        {"\"swInfo\":", "\"other\":", R"("swInfo" is missing or no object: expected an object)"},
        {"\"checksum\":\"0123456789abcdef0123456789abcdef\"", "\"checksum\":7",
         R"("swInfo": "checksum" is missing or no text: expected a text)"},
        {"-3", "0.5", R"("policy" is missing or no whole number: expected a whole number)"},
        {"255", "256", R"("OffloadDownloadActivate" is out of range: expected 0 to 255)"},
        {"\"g_dwldStartTimer\":1", "\"g_dwldStartTimer\":256",
         R"("g_dwldStartTimer" is out of range: expected 0 to 255)"},
        {"\"g_ISDeferedUpgrade\":5,", "", R"("g_ISDeferedUpgrade" is missing or no whole number)"},
        {"\"reboot_flag\":2147483647", "\"reboot_flag\":2147483648",
         R"("reboot_flag" is missing or no whole number)"},
    };
    for (const BadMemory &bad : cases) {
        const std::size_t said = errors().size();
        send(restoreOf(replaced(kFull, bad.from, bad.to)));
        const std::string done = next();
        EXPECT_EQ(
            done.find(R"({"done":"restore","deferred":0,"failed":"the agent's memory was not )"
                      "restored: "),
            0U)
            << done;
        const std::string line = errors().substr(said);
        EXPECT_NE(line.find(bad.complaint), std::string::npos) << line;
        EXPECT_EQ(line.find("error: ota-host: the agent's memory was not restored: "), 0U) << line;
        EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
        EXPECT_EQ(memory_, kFull) << bad.complaint;
    }
    send(R"({"event":"restore"})");
    EXPECT_NE(next().find(R"(\"memory\" is missing or no object)"), std::string::npos);
    EXPECT_EQ(memory_, kFull);
}

} // namespace
