// SPDX-License-Identifier: MIT
// How a program that is traced starts and ends.
#include "power_program.h"

#include <csignal>

namespace {

class Launch : public PowerProgram {};

TEST_F(Launch, TheProgramsEndIsItsOwn) {
    EXPECT_EQ(shell({}, "exit 3"), 3);
    EXPECT_EQ(shell({}, "kill -9 $$"), 128 + SIGKILL);
    EXPECT_EQ(shell({"--cut", "5"}, "echo x > f"), 0);
    EXPECT_EQ(run({}, {"no-such-program"}), 127);
    EXPECT_NE(said().find("no-such-program: cannot be started"), std::string::npos) << said();
}

TEST_F(Launch, ASignalGoesOnToTheProgram) {
    const pid_t child =
        start({}, {"sh", "-c", "trap 'exit 7' TERM; touch ../up; while :; do sleep 0.01; done"});
    for (int tries = 0; tries < 12'000 && !fs::exists(place_ / "up"); ++tries) {
        usleep(5'000);
    }
    kill(child, SIGTERM);
    EXPECT_EQ(endOf(child), 7);
}

TEST_F(Launch, EndsTheProgramWhereItIsKilledItself) {
    const pid_t child = start({}, {"sh", "-c", "echo $$ > ../up; exec sleep 600"});
    pid_t program = 0;
    for (int tries = 0; tries < 12'000 && program == 0; ++tries) {
        usleep(5'000);
        program = std::atoi(desk::readFile(place_ / "up").c_str());
    }
    ASSERT_GT(program, 0);
    kill(child, SIGKILL);
    EXPECT_EQ(endOf(child), -SIGKILL);
    int tries = 0;
    while (kill(program, 0) == 0 && ++tries < 12'000) {
        usleep(5'000);
    }
    EXPECT_LT(tries, 12'000) << "the program lives on";
}

// Whoever is traced already may not be traced by another.
TEST_F(Launch, SaysInOneLineThatTracingIsRefused) {
    // A sanitizer finds no leaks in what is traced, and says so.
    EXPECT_EQ(run({}, {"env", "ASAN_OPTIONS=detect_leaks=0", OTA_POWER_PROGRAM, "--disk",
                       disk().string(), "--", "touch", "lived"}),
              125);
    EXPECT_NE(said().find("the program cannot be traced"), std::string::npos) << said();
    EXPECT_EQ(said().find('\n'), said().size() - 1) << said();
    EXPECT_FALSE(names().contains("lived"));
}

} // namespace
