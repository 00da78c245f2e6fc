// SPDX-License-Identifier: MIT
// otactl sign, verify and config: the tool answers in otactl's name, and where there is none.
#include "program.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/wait.h>

namespace {

using Words = std::vector<std::string>;

TEST(HandOver, TakesTheWordsOfOtactlAlong) {
    const Ended said = run({"--bus", "unix:path=none", "--json", "config", "check", "none"});
    EXPECT_EQ(said.code, 9);
    EXPECT_EQ(said.output.find(R"({"code":9,"result":"configWrong")"), 0U) << said.output;
    EXPECT_EQ(run({"config", "check", "none", "--bus=unix:path=none"}).errors.find("otactl: none:"),
              0U);
}

TEST(HandOver, AsksTheToolForTheHelpOfItsVerb) {
    for (const Words &words :
         {Words{"sign", "--help"}, Words{"--help", "sign"}, Words{"-h", "sign"}}) {
        const Ended said = run(words);
        EXPECT_EQ(said.code, 0);
        EXPECT_NE(said.output.find("Usage: otactl sign "), std::string::npos) << said.output;
        EXPECT_NE(said.output.find("--key FILE"), std::string::npos) << said.output;
    }
}

TEST(HandOver, KeepsTheVersionForItself) {
    const std::string version = run({"--version"}).output;
    EXPECT_FALSE(version.empty());
    for (const char *verb : {"sign", "verify", "config"}) {
        EXPECT_EQ(run({verb, "--version"}).output, version) << verb;
    }
}

TEST(HandOver, SaysThatTheToolIsMissing) {
    std::string folder = testing::TempDir() + "hand-over-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    std::filesystem::create_directory(folder + "/bin");
    std::filesystem::copy_file(OTACTL, folder + "/bin/otactl");
    const std::string call = folder + "/bin/otactl --json verify image >" + folder + "/said 2>&1";
    EXPECT_EQ(WEXITSTATUS(std::system(call.c_str())), 1);
    std::ifstream file(folder + "/said");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(text.find(R"({"code":1,"result":"failed","reason":")" + folder + "/bin/ota-image"),
              0U)
        << text;
    EXPECT_NE(text.find("; install the package again"), std::string::npos) << text;
    std::filesystem::remove_all(folder);
}

} // namespace
