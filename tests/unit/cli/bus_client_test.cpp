// SPDX-License-Identifier: MIT
// Every way to fail: one line, the table's code, and with --json one object.
#include "otactl_test.h"

#include "base/outcome.h"
#include "guard/refusal.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using base::Outcome;
using base::rowOf;

class BusClient : public OtactlTest {
  protected:
    using OtactlTest::OtactlTest;

    static void expectFailure(const Ended &ended, Outcome outcome, const std::string &what) {
        EXPECT_EQ(ended.errors, "otactl: " + what + "; " + rowOf(outcome).remedy + "\n");
        EXPECT_EQ(ended.code, rowOf(outcome).code);
        EXPECT_EQ(ended.output, "");
    }
};

TEST_F(BusClient, EveryErrorOfTheServiceIsItsExitCodeAndItsAdvice) {
    ASSERT_TRUE(service_.start());
    int refusals = 0;
    for (const base::OutcomeRow &row : base::outcomes()) {
        if (*row.busError == '\0') {
            continue;
        }
        service_.raise([&](service::BusService &) {
            service_.refusal = guard::Refusal{row.outcome, "field", "not as it should be"};
        });
        expectFailure(otactl({"offer", "-"}, {.input = "{}"}), row.outcome,
                      service_.refusal->text());
        ++refusals;
    }
    EXPECT_GT(refusals, 20);
}

TEST_F(BusClient, ForProgramsARefusalIsAnObjectToo) {
    ASSERT_TRUE(service_.start());
    service_.raise([this](service::BusService &) {
        service_.refusal = guard::Refusal{Outcome::wrongModel, "model", "is \"X\""};
    });
    const Ended ended = otactl({"offer", "-", "--json"}, {.input = "{}"});
    EXPECT_EQ(ended.output,
              "{\"code\":29,\"result\":\"wrongModel\",\"reason\":\"model: is \\\"X\\\"\"}\n");
    EXPECT_EQ(ended.code, 29);
    EXPECT_EQ(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 1);
}

TEST_F(BusClient, WithoutTheServiceEveryVerbSaysSo) {
    const std::vector<std::vector<std::string>> verbs = {{"offer", "-"},  {"offer", "-", "--wait"},
                                                         {"trigger"},     {"activate-at", "1"},
                                                         {"cancel"},      {"status"},
                                                         {"explain"},     {"history"},
                                                         {"banks"},       {"commit"},
                                                         {"forget", "x"}, {"set", "a", "b"}};
    for (const std::vector<std::string> &verb : verbs) {
        expectFailure(otactl(verb), Outcome::noService, "otad is not on the bus");
    }
}

TEST_F(BusClient, WithoutABusItNamesTheBus) {
    const std::string address = "unix:path=" + bus_.in("nothing-here");
    for (const char *verb : {"status", "watch"}) {
        expectFailure(run({"--bus", address, verb}), Outcome::noService,
                      "the bus at " + address + " cannot be reached: No such file or directory");
        expectFailure(run({verb}, {.environment = {{"DBUS_SYSTEM_BUS_ADDRESS", address}}}),
                      Outcome::noService,
                      "the system bus cannot be reached: No such file or directory");
    }
}

TEST_F(BusClient, TheSystemBusIsTheOneThatTheEnvironmentNames) {
    ASSERT_TRUE(service_.start());
    const Ended ended =
        run({"banks"}, {.environment = {{"DBUS_SYSTEM_BUS_ADDRESS", bus_.address()}}});
    EXPECT_EQ(ended.code, 0) << ended.errors;
}

TEST_F(BusClient, AServiceThatDiesDuringTheCallIsNoService) {
    service_.holdsAnswers = true;
    ASSERT_TRUE(service_.start());
    Program program(onBus({"trigger"}));
    while (service_.calls().empty()) {
    }
    bus_.kill();
    EXPECT_EQ(program.code(), rowOf(Outcome::noService).code);
    const std::string errors = program.errors();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
}

TEST_F(BusClient, WrongUseIsOneLineAndCodeTwo) {
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"nonsense"},
        {"offer"},
        {"offer", "a", "b"},
        {"status", "--nonsense"},
        {"cancel", "x"},
        {"cancel", "-1"},
        {"cancel", "18446744073709551616"},
        {"watch", "--until-finished", "-1"},
        {"history", "-n", "-1"},
        {"trigger", "--flag", "one"},
        {"history", "-n", "99999999999"},
        {"watch", "--until-idle", "--until-finished", "3"},
        {"config"},
        {"activate-at"},
        {"activate-at", "now+"},
        {"activate-at", "now+0"},
        {"activate-at", "now+86400"},
        {"activate-at", "now+5s"},
        {"set", "work_mode"},
        {"offer", "/nonexistent/descriptor"},
        {"offer", "/"},
        {"status", "\033[31m\nnext"}};
    for (const std::vector<std::string> &arguments : wrong) {
        const Ended ended = otactl(arguments);
        const std::string of = testing::PrintToString(arguments);
        EXPECT_EQ(ended.code, 2) << of;
        EXPECT_EQ(ended.output, "") << of;
        EXPECT_EQ(ended.errors.find("otactl: "), 0U) << of << ended.errors;
        EXPECT_EQ(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 1) << ended.errors;
        EXPECT_EQ(ended.errors.find('\033'), std::string::npos) << of;
    }
}

TEST_F(BusClient, WhatTheBusCannotCarryIsRefusedHere) {
    ASSERT_TRUE(service_.start());
    expectFailure(otactl({"offer", "-"}, {.input = std::string("{}\0", 3)}),
                  Outcome::descriptorNotOneObject,
                  "descriptor: not a text in UTF-8 without NUL characters");
    expectFailure(otactl({"offer", "-"}, {.input = "{\"\xff\":1}"}),
                  Outcome::descriptorNotOneObject,
                  "descriptor: not a text in UTF-8 without NUL characters");
    expectFailure(otactl({"offer", "-"}, {.input = std::string(1024 * 1024 + 1, ' ')}),
                  Outcome::descriptorTooLarge, "descriptor: larger than 1 MiB");
    EXPECT_EQ(service_.calls(), std::vector<std::string>{});
    EXPECT_EQ(otactl({"offer", "-"}, {.input = std::string(1024 * 1024, ' ')}).code, 0);
}

TEST_F(BusClient, AFullDiskBehindStandardOutputIsNoSuccess) {
    ASSERT_TRUE(service_.start());
    const std::string command =
        std::string(OTACTL) + " --bus " + bus_.address() + " banks >/dev/full 2>/dev/null";
    // NOLINTNEXTLINE(cert-env33-c): the shell opens the full device
    const int status = std::system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), rowOf(Outcome::failed).code);
}

// The bus would be opened in its place.
TEST_F(BusClient, AClosedStandardOutputIsTold) {
    ASSERT_TRUE(service_.start());
    for (const char *verb : {"status", "watch", "--json watch"}) {
        const std::string errors = fileHolding("");
        const std::string command =
            std::string(OTACTL) + " --bus " + bus_.address() + " " + verb + " >&- 2>" + errors;
        // NOLINTNEXTLINE(cert-env33-c): the shell closes it
        const int status = std::system(command.c_str());
        EXPECT_EQ(WEXITSTATUS(status), rowOf(Outcome::failed).code) << verb;
        std::ifstream file(errors);
        const std::string told((std::istreambuf_iterator<char>(file)), {});
        EXPECT_NE(told.find("standard output cannot be written: Bad file descriptor"),
                  std::string::npos)
            << verb << ": " << told;
    }
}

TEST_F(BusClient, AReaderThatWentAwayEndsItWithoutAWord) {
    constexpr int kOutput = 9;
    ASSERT_TRUE(service_.start());
    std::array<int, 2> pipe{-1, -1};
    ASSERT_EQ(pipe2(pipe.data(), 0), 0);
    close(pipe[0]);
    if (pipe[1] != kOutput) {
        ASSERT_EQ(dup2(pipe[1], kOutput), kOutput);
        close(pipe[1]);
    }
    const std::string errors = fileHolding("");
    for (const char *verb : {"status", "--json status", "history", "watch", "--help"}) {
        // Ignored, as a service's children inherit it.
        const std::string command = std::string("trap '' PIPE; exec ") + OTACTL + " --bus " +
                                    bus_.address() + " " + verb + " >&9 2>" + errors;
        // NOLINTNEXTLINE(cert-env33-c): the shell ignores the signal
        const int status = std::system(command.c_str());
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE) << verb << " " << status;
        EXPECT_EQ(std::filesystem::file_size(errors), 0U) << verb;
    }
    close(kOutput);
}

class Denied : public BusClient {
  protected:
    Denied()
        : BusClient(PrivateBus::kOpenPolicy +
                    "<policy context=\"mandatory\">"
                    "<deny send_destination=\"velmo.otaSwAgent\"/></policy>") {
        EXPECT_TRUE(service_.start());
    }
};

TEST_F(Denied, TheBusPolicysNoIsAccessDenied) {
    const std::vector<std::vector<std::string>> verbs = {
        {"offer", "-"}, {"trigger"}, {"status"}, {"explain"}, {"history"}, {"set", "a", "b"}};
    for (const std::vector<std::string> &verb : verbs) {
        expectFailure(otactl(verb), Outcome::accessDenied, "this user may not call otad");
    }
    const Ended watch = otactl({"watch", "--json"});
    EXPECT_EQ(watch.output, "{\"event\":\"service\",\"running\":true}\n"
                            "{\"code\":4,\"result\":\"accessDenied\","
                            "\"reason\":\"this user may not call otad\"}\n");
    EXPECT_EQ(watch.code, 4);
}

} // namespace
