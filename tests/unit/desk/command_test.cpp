// SPDX-License-Identifier: MIT
// Which shell commands of the agent run on a desk, and how.
#include "desk/stand_ins/command.h"

#include <gtest/gtest.h>

namespace {

using desk::judgeCommand;
using Kind = desk::Verdict::Kind;

TEST(CommandOnADesk, RebootIsAskedOfTheSupervisor) {
    EXPECT_EQ(judgeCommand("/sbin/reboot").kind, Kind::reboot);
}

TEST(CommandOnADesk, FixedPathsMeanTheNodesOwnFolder) {
    EXPECT_EQ(judgeCommand("rm /tmp/ota_agent_data").text, "rm ./ota_agent_data");
    EXPECT_EQ(judgeCommand("rm /tmp/otaMD5.txt").text, "rm ./otaMD5.txt");
}

TEST(CommandOnADesk, CommandsInTheFolderRunAsTheyAre) {
    for (const char *command :
         {"rm -rf ./4QZ*", "rm -rf ./tmpImage", "rm -rf ./software_", "rm -f ./ota_agent_data",
          "echo 42 > ./ota_dwld_prog", "echo OTA_SW_DOWNLOAD_FAILED >> ./ota_dwld_prog",
          "echo 4QZ2.1.0 > logs/ota_act_success", "rm -rf logs/ota_act_success", "rm -rf ./4QZ",
          "rm -rf ./4Q", "rm ./one ./two", "echo 7 > ./ota_dw"}) {
        const desk::Verdict verdict = judgeCommand(command);
        EXPECT_EQ(verdict.kind, Kind::run) << command;
        EXPECT_EQ(verdict.text, command);
    }
}

TEST(CommandOnADesk, WhatCouldLeaveTheFolderDoesNotRun) {
    for (const char *command :
         {"rm -rf /", "rm -rf /tmp/4QZ*", "echo x >/tmp/y", "echo x>>/tmp/y", "/sbin/reboot now",
          " /sbin/reboot", "rm /tmp/ota_agent_data;true", "rm -rf ../x", "rm -rf ./a/../../b",
          "echo $(reboot)", "echo `reboot`", "rm -rf ~", "echo x > $HOME/y", "echo \"/etc\"",
          "dd of=/dev/sda", "cat '/etc/passwd'", "rm \\/etc", "echo a|/bin/sh"}) {
        const desk::Verdict verdict = judgeCommand(command);
        EXPECT_EQ(verdict.kind, Kind::refuse) << command;
        EXPECT_FALSE(verdict.text.empty());
    }
}

TEST(CommandOnADesk, WhatTheAgentHasNoUseForDoesNotRun) {
    for (const char *command : {"",
                                " ",
                                "reboot",
                                "poweroff -f",
                                "ls",
                                "rm",
                                "rm -rf",
                                "rm -rf ",
                                "rm -rf -- ./x",
                                "rm -r ./x",
                                "rm -rf *",
                                "rm -rf ./*",
                                "rm -rf 4QZ*x",
                                "rm -rf ./4QZ* *",
                                "rm -rf ./a\nreboot",
                                "echo x",
                                "echo 4QZ1;reboot > ./x",
                                "echo x;cd;rm -rf * > ./m",
                                "echo 4QZ1&reboot > ./x",
                                "echo 4QZ1\nreboot\n > ./x",
                                "echo $HOME > ./x",
                                "echo `id` > ./x",
                                "echo a b > ./x",
                                "echo x > ./y ./z",
                                "echo x > ./4QZ*",
                                "echo x | ./y",
                                "echo x > ./y|reboot",
                                "echo x > ./y;reboot",
                                "echo x  > ./y",
                                "echo x > ./y "}) {
        const desk::Verdict verdict = judgeCommand(command);
        EXPECT_EQ(verdict.kind, Kind::refuse) << command;
        EXPECT_FALSE(verdict.text.empty());
    }
}

} // namespace
