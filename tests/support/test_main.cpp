// SPDX-License-Identifier: MIT
// Runs a suite; a run without a single test is a failure.
#include <gtest/gtest.h>

#include <cstdio>

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    if (GTEST_FLAG_GET(list_tests) || testing::UnitTest::GetInstance()->test_to_run_count() > 0) {
        return result;
    }
    std::fprintf(stderr, "no test ran: check the filter\n");
    return 1;
}
