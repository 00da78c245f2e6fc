// SPDX-License-Identifier: MIT
// The output of a program, line by line.
#include "desk/line_stream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <poll.h>

namespace {

desk::LineStream shell(const std::string &script) {
    return desk::LineStream(desk::Launch{{"/bin/sh", "-c", script}, "/", "/dev/null"});
}

// Waits for the next line; "none" once the output is closed.
std::string awaited(desk::LineStream &stream) {
    for (;;) {
        if (const auto line = stream.next()) {
            return *line;
        }
        if (stream.closed()) {
            return "none";
        }
        pollfd waiting{stream.fd(), POLLIN, 0};
        if (poll(&waiting, 1, 10000) == 0) {
            return "silence";
        }
    }
}

TEST(LineStream, EachLineComesOnceAndWhole) {
    desk::LineStream stream = shell("printf 'one\\n\\ntw'; sleep 0.1; printf 'o\\nlast'");
    EXPECT_EQ(awaited(stream), "one");
    EXPECT_EQ(awaited(stream), "");
    EXPECT_EQ(awaited(stream), "two");
    EXPECT_EQ(awaited(stream), "last");
    EXPECT_EQ(awaited(stream), "none");
}

TEST(LineStream, NothingIsWaitedFor) {
    desk::LineStream stream = shell("sleep 20");
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(stream.next(), std::nullopt);
    EXPECT_FALSE(stream.closed());
    EXPECT_EQ(stream.ending(), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
}

TEST(LineStream, WhatIsSaidBesideTheOutputGoesToTheLog) {
    desk::LineStream stream = shell("echo loud >&2; echo told");
    EXPECT_EQ(awaited(stream), "told");
    EXPECT_EQ(awaited(stream), "none");
}

} // namespace
