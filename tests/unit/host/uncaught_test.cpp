// SPDX-License-Identifier: MIT
// The last line of a host that ends on an exception.
#include <csignal>
#include <exception>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

template <class Thrown>
void raise(const Thrown &thrown) {
    throw thrown;
}

template <class Thrown>
void endOn(const Thrown &thrown) noexcept {
    std::set_terminate(__gnu_cxx::__verbose_terminate_handler);
    raise(thrown);
}

TEST(UncaughtDeathTest, IsToldWithItsText) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(endOn(std::runtime_error("no room")), testing::KilledBySignal(SIGABRT),
                "^error: host: ends on an error that nothing caught: no room\n");
    EXPECT_EXIT(endOn(7), testing::KilledBySignal(SIGABRT),
                "^error: host: ends on an error that nothing caught\n");
}

} // namespace
