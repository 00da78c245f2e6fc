// SPDX-License-Identifier: MIT
// otactl beside a service on a private bus.
#ifndef TESTS_CLI_OTACTL_TEST_H
#define TESTS_CLI_OTACTL_TEST_H

#include "fake_service.h"
#include "private_bus.h"
#include "program.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

class OtactlTest : public testing::Test {
  protected:
    OtactlTest();
    explicit OtactlTest(const std::string &policy);

    /* The arguments behind the address of the private bus. */
    [[nodiscard]] std::vector<std::string> onBus(std::vector<std::string> arguments) const;
    [[nodiscard]] Ended otactl(std::vector<std::string> arguments,
                               const Program::Surroundings &around = {}) const;
    /* A file of the test's own folder, which goes with it. */
    [[nodiscard]] std::string fileHolding(const std::string &text) const;

    PrivateBus bus_;
    FakeService service_;
};

/* A verb that asks the service once. */
class Verbs : public OtactlTest {
  protected:
    Verbs() { EXPECT_TRUE(service_.start()); }

    void expectCall(const std::string &call) {
        EXPECT_EQ(service_.calls(), std::vector<std::string>{call});
    }
};

inline void expectPrinted(const Ended &ended, const std::string &output) {
    EXPECT_EQ(ended.output, output);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ended.code, 0);
}

#endif
