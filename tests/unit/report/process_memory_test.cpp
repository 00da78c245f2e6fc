// SPDX-License-Identifier: MIT
// The memory of a process and of those that it started.
#include "report/process_memory.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

TEST(TheMemory, IsThatOfTheProcessAndOfItsChildren) {
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    const auto all = report::memoryOf(getpid());
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].name, all[1].name);
    EXPECT_GT(all[0].residentBytes, 100U * 1024);
    EXPECT_GE(all[0].peakBytes, all[0].residentBytes);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(report::memoryOf(child).empty()) << "it is gone";
}

} // namespace
