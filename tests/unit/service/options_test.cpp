// SPDX-License-Identifier: MIT
// The daemon's command line.
#include "service/options.h"

#include <gtest/gtest.h>

#include <vector>

namespace service {
namespace {

Options read(std::vector<std::string> arguments) {
    std::vector<char *> argv;
    for (std::string &argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    return readOptions(static_cast<int>(arguments.size()), argv.data());
}

TEST(DaemonOptions, are_taken_as_given) {
    const Options options =
        read({"otad", "--config", "c", "--host", "h", "--library", "l", "--bus", "unix:path=/b",
              "--boot-id", "7", "--check", "--syslog", "--watchdog", "30"});
    EXPECT_EQ(options.config, "c");
    EXPECT_EQ(options.host, "h");
    EXPECT_EQ(options.library, "l");
    EXPECT_EQ(options.bus, "unix:path=/b");
    EXPECT_EQ(options.bootId, "7");
    EXPECT_TRUE(options.check);
    EXPECT_TRUE(options.syslog);
    EXPECT_EQ(options.watchdog, std::chrono::seconds(30));
}

TEST(DaemonOptions, left_out_are_those_of_an_installed_node) {
    const Options options = read({"otad"});
    EXPECT_TRUE(options.config.ends_with("/otaSwAgent/node.conf")) << options.config;
    EXPECT_TRUE(options.host.ends_with("/otaSwAgent/ota-host")) << options.host;
    EXPECT_TRUE(options.library.ends_with("/libotaSwAgent.so")) << options.library;
    EXPECT_EQ(options.bus, "");
    EXPECT_FALSE(options.check);
    EXPECT_FALSE(options.syslog);
    EXPECT_EQ(options.watchdog.count(), 0);
    EXPECT_EQ(options.bootId.size(), 36U) << "the kernel's: " << options.bootId;
}

TEST(DaemonOptionsDeathTest, that_are_wrong_end_it_with_one_line_and_the_code_for_wrong_use) {
    EXPECT_EXIT(read({"otad", "--nonsense"}), testing::ExitedWithCode(2),
                "^otad: --nonsense: there is no such option; see otad --help\n$");
    EXPECT_EXIT(read({"otad", "--config"}), testing::ExitedWithCode(2),
                "^otad: --config needs a value, FILE; see otad --help\n$");
}

TEST(DaemonOptionsDeathTest, asking_for_help_ends_it_well) {
    EXPECT_EXIT(read({"otad", "--help"}), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace service
