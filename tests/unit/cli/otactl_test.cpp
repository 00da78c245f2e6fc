// SPDX-License-Identifier: MIT
// otactl beside a service on a private bus.
#include "otactl_test.h"

#include <fstream>

OtactlTest::OtactlTest() : OtactlTest(PrivateBus::kOpenPolicy) {}

OtactlTest::OtactlTest(const std::string &policy) : bus_(policy), service_(bus_.address()) {
    EXPECT_TRUE(bus_.start());
}

std::vector<std::string> OtactlTest::onBus(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"--bus", bus_.address()});
    return arguments;
}

Ended OtactlTest::otactl(std::vector<std::string> arguments,
                         const Program::Surroundings &around) const {
    return run(onBus(std::move(arguments)), around);
}

std::string OtactlTest::fileHolding(const std::string &text) const {
    const std::string path = bus_.in("file");
    std::ofstream(path) << text;
    return path;
}
