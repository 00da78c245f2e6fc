// SPDX-License-Identifier: MIT
// Children and what they started.
#include "desk/child.h"

#include <gtest/gtest.h>

#include <chrono>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

std::string endingOf(desk::Child &child) {
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (std::chrono::steady_clock::now() < deadline) {
        if (const auto ending = child.ending()) {
            return *ending;
        }
        std::this_thread::sleep_for(5ms);
    }
    return "none";
}

// The child and all that it starts hold the pipe's writing end open.
TEST(Child, WhatItStartedEndsWithIt) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    desk::Launch launch{{"/bin/sh", "-c", "sleep 20 & exit 3"}, "/", "/dev/null"};
    launch.output = ends[1];
    desk::Child child(launch);
    close(ends[1]);
    EXPECT_EQ(endingOf(child), "exit code 3");
    EXPECT_FALSE(child.running());
    pollfd closed{ends[0], POLLIN, 0};
    EXPECT_EQ(poll(&closed, 1, 5000), 1) << "a process that it started lives on";
    close(ends[0]);
}

// What it started is asked by itself alone, and made to end where it does not ask.
TEST(Child, OnlyTheChildItselfIsAskedToEnd) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const char *const script = "(trap 'echo asked' TERM; echo up; while :; do sleep 0.01; done) & "
                               "trap 'sleep 0.2; exit 0' TERM; wait";
    desk::Launch launch{{"/bin/sh", "-c", script}, "/", "/dev/null"};
    launch.output = ends[1];
    desk::Child child(launch);
    close(ends[1]);
    std::string said;
    char byte = 0;
    while (read(ends[0], &byte, 1) == 1) {
        said += byte;
        if (said == "up\n") {
            child.stop();
        }
    }
    EXPECT_EQ(said, "up\n");
    close(ends[0]);
}

TEST(Child, OneThatDoesNotEndIsMadeToOnceItsTimeIsOver) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    desk::Launch launch{{"/bin/sh", "-c", "trap '' TERM; echo up; sleep 20"}, "/", "/dev/null"};
    launch.output = ends[1];
    launch.patience = 50ms;
    desk::Child child(launch);
    char byte = 0;
    ASSERT_EQ(read(ends[0], &byte, 1), 1);
    const auto before = std::chrono::steady_clock::now();
    child.stop();
    EXPECT_GE(std::chrono::steady_clock::now() - before, 50ms);
    EXPECT_FALSE(child.running());
    close(ends[0]);
    close(ends[1]);
}

TEST(Child, ItsEndIsToldOnceAndNotBefore) {
    desk::Child child(desk::Launch{{"sleep", "20"}, "/", "/dev/null"});
    EXPECT_EQ(child.ending(), std::nullopt);
    child.kill();
    EXPECT_FALSE(child.running());
    EXPECT_EQ(child.ending(), std::nullopt);
}

} // namespace
