// SPDX-License-Identifier: MIT
// What no upgrade succeeds with is named before one fails.
#include "fixture.h"
#include "node/config_check.h"

#include <filesystem>

namespace {

class ConfigurationObstacles : public OnANode {
  protected:
    /* The one that stands in this configuration, with which the service starts all the same. */
    std::string obstacleIn(const std::string &text) {
        EXPECT_EQ(errorOf(text), "");
        const std::vector<std::string> mistakes = node::configMistakes(configPath_);
        return mistakes.size() == 1 ? mistakes[0] : std::to_string(mistakes.size()) + " mistakes";
    }
    std::string errorOf(const std::string &text) {
        writeText(configPath_, text);
        const auto config = node::checkConfigFile(configPath_);
        return config ? "" : config.error().text;
    }
};

// The service starts with these, so that the agent's process can tell; a check names them before.
TEST_F(ConfigurationObstacles, AreWhatWouldMakeEveryUpgradeFail) {
    writeText(in("garbage"), "no certificate");
    writeText(in("no_program"), "exit 0");
    EXPECT_EQ(obstacleIn(configWith("", "")), "0 mistakes");
    EXPECT_NE(
        obstacleIn(configWith("", "") + "[trial]\nhealth_command = " + in("none") + " && true\n")
            .find("[trial] health_command begins with a program that is not there, " + in("none") +
                  ": No such file or directory; put it there"),
        std::string::npos);
    EXPECT_NE(
        obstacleIn(configWith("", "") + "[trial]\nhealth_command = " + in("no_program") + "\n")
            .find("begins with " + in("no_program") + ", which is no program"),
        std::string::npos);
    EXPECT_EQ(obstacleIn(configWith("", "") + "[trial]\nhealth_command = /bin/sh -c true\n"),
              "0 mistakes");
    for (const std::string &line : std::vector<std::string>{
             "ca_certificate = garbage", "signature = required\nsigner_ca = garbage"}) {
        const std::string key = line.starts_with("ca") ? "ca_certificate" : "signature";
        EXPECT_NE(obstacleIn(configWith(key, line))
                      .find("names a file without a usable certificate: garbage: holds no "
                            "certificate in PEM"),
                  std::string::npos)
            << line;
    }
    std::filesystem::remove(statePath_);
    EXPECT_NE(obstacleIn(configWith("", ""))
                  .find("[banks] boot_state names what the node cannot use: " + statePath_),
              std::string::npos);
    std::filesystem::create_directory(statePath_);
    const std::string isDirectory = obstacleIn(configWith("", ""));
    EXPECT_NE(isDirectory.find(statePath_), std::string::npos);
    EXPECT_NE(isDirectory.find("ota-boot-state init"), std::string::npos);
}

TEST_F(ConfigurationObstacles, AreStateDirectoriesThatCannotBeMade) {
    writeText(in("file"), "");
    EXPECT_NE(errorOf(configWith("", "") + "[service]\nstate = " + in("file") + "\n")
                  .find("[service] state names no directory: " + in("file") + " is a file"),
              std::string::npos);
    EXPECT_NE(errorOf(configWith("", "") + "[service]\nstate = " + in("no/such") + "\n")
                  .find("[service] state cannot be made: there is no directory " + in("no")),
              std::string::npos);
}

} // namespace
