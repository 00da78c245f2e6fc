// SPDX-License-Identifier: MIT
// otactl config check: every mistake of a file, without a bus.
#include "program.h"

#include "node/boot_state.h"
#include "tests/support/results.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace {

class ConfigCheck : public testing::Test {
  protected:
    // The agent's limits are for short directories: the program starts in this folder.
    ConfigCheck() {
        EXPECT_NE(mkdtemp(folder_.data()), nullptr);
        std::filesystem::current_path(folder_);
        std::ofstream("a") << std::string(1024, 'a');
        std::ofstream("b") << std::string(1024, 'b');
        std::string whatIsWrong;
        EXPECT_TRUE(succeeds(node::writeBootState("state", node::BootState{}), whatIsWrong))
            << whatIsWrong;
    }
    ~ConfigCheck() override {
        std::error_code ignored;
        std::filesystem::current_path("/", ignored);
        std::filesystem::remove_all(folder_, ignored);
    }

    static void write(const std::string &onboarding, const std::string &tmp) {
        std::ofstream("node.conf")
            << "[node]\nmodel=M\nserial=S\nwork_mode=RGW\nwork_role=R\n"
            << "onboarding=" << onboarding
            << "\npreferred_activation_time=02:00\n[paths]\ntmp=" << tmp
            << "\nconfigs=.\nlogs=.\nca_certificate=ca.pem\n[banks]\na=a\n"
               "b=b\nsize=1K\nboot_state=state\n[images]\nsignature=optional\n";
    }

    std::string folder_ = testing::TempDir() + "config-check-XXXXXX";
};

TEST_F(ConfigCheck, AFileWithoutMistakesIsZero) {
    write("0", ".");
    const Ended ended = run({"config", "check", "node.conf"});
    EXPECT_EQ(ended.output, "node.conf: no mistakes\n") << ended.errors;
    EXPECT_EQ(ended.code, 0);
    EXPECT_EQ(run({"config", "check", "node.conf", "--json"}).output,
              "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"file\":\"node.conf\","
              "\"mistakes\":[],\"warnings\":[]}\n");
}

TEST_F(ConfigCheck, AKeyThatIsNotKnownIsAWarning) {
    write("0", ".");
    std::ofstream("node.conf", std::ios::app) << "[service]\nlowest_versoin = 4QZ1\n";
    const Ended ended = run({"config", "check", "node.conf"});
    EXPECT_EQ(ended.code, 0);
    EXPECT_EQ(ended.output, "node.conf: no mistakes\n");
    EXPECT_EQ(ended.errors,
              "otactl: warning: node.conf:21: [service] lowest_versoin is not known and "
              "has no effect; did you mean [service] lowest_version?\n");
    EXPECT_NE(run({"config", "check", "node.conf", "--json"})
                  .output.find(R"("mistakes":[],"warnings":["node.conf:21: [service])"),
              std::string::npos);
}

TEST_F(ConfigCheck, EveryMistakeIsALineWithItsPlace) {
    write("7", "./nothing-here");
    const Ended ended = run({"config", "check", "node.conf"});
    EXPECT_EQ(ended.code, 9);
    EXPECT_EQ(ended.output, "");
    EXPECT_GE(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 2) << ended.errors;
    EXPECT_NE(ended.errors.find("otactl: node.conf:6: "), std::string::npos) << ended.errors;
    EXPECT_NE(ended.errors.find("otactl: node.conf:9: "), std::string::npos) << ended.errors;
    const Ended json = run({"--json", "config", "check", "node.conf"});
    EXPECT_EQ(json.code, 9);
    EXPECT_EQ(json.output.find(R"({"code":9,"result":"configWrong","reason":"",)"
                               R"("file":"node.conf","mistakes":["node.conf:6: )"),
              0U)
        << json.output;
}

TEST_F(ConfigCheck, AMissingFileIsAMistakeToo) {
    const Ended ended = run({"config", "check", "nowhere.conf"});
    EXPECT_EQ(ended.code, 9);
    EXPECT_NE(ended.errors.find("nowhere.conf"), std::string::npos);
}

} // namespace
