// SPDX-License-Identifier: MIT
// The host process is started again behind its end, and its start may wait for a socket.
#include "tests/unit/service/daemon_fixture.h"

#include "base/json.h"

namespace service::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class TheHost : public DaemonTest {};

TEST_F(TheHost, that_ends_without_work_is_started_again_with_what_waited) {
    host_.on("new-image",
             {startTimer("rebootTimer", kLong), doneWith("{}"), waitFor("go"), exitWith(3)});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return host_.count("restore") == 1; }));
    ASSERT_TRUE(turnUntil([&] { return !told("taken-up").empty(); }));
    ASSERT_EQ(calls().status().timers.size(), 1U);
    EXPECT_GT(calls().status().timers[0].seconds, kLong - 100U);
    EXPECT_EQ(calls().status().ticket, ticket);
    EXPECT_THAT(codesOf(ticket), IsEmpty());
}

TEST_F(TheHost, is_started_again_after_ever_longer_pauses) {
    options_.host = in("missing");
    start();
    ASSERT_TRUE(turnUntil([&] { return told("host-crashed").size() == 2; }));
    std::vector<std::string> next;
    for (const std::string &line : calls().history(100)) {
        const base::Json entry = base::parsed(line);
        if (base::textOf(entry.get(), "event") == "host-crashed") {
            next.push_back(base::textOf(entry.get(), "next"));
            EXPECT_THAT(base::textOf(entry.get(), "reason"),
                        HasSubstr(in("missing") + ": cannot be started"));
        }
    }
    EXPECT_THAT(next, ElementsAre("it is started again in 1 s", "it is started again in 2 s"));
}

TEST_F(TheHost, that_waits_for_a_socket_is_told_and_requests_wait_for_it) {
    host_.on("start-up",
             {say(R"({"note":"waits-for","path":"/run/manager.sock"})"), waitFor("go")});
    start();
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "waiting"; }));
    ASSERT_EQ(told("agent-waits").size(), 1U);
    EXPECT_THAT(told("agent-waits")[0], HasSubstr("/run/manager.sock"));
    const std::uint64_t ticket = ticketOf(trigger());
    turnWhileBusy();
    EXPECT_EQ(host_.count("mobile-trigger"), 0U);
    host_.release("go");
    EXPECT_TRUE(turnUntil([&] { return finished(ticket); }));
}

TEST_F(TheHost, that_waits_for_a_socket_names_one_that_others_made_in_its_place) {
    host_.on("start-up",
             {say(R"({"note":"waits-for","path":"/run/manager.sock"})"), waitFor("found"),
              say(R"({"note":"waits-for","path":"/run/manager.sock",)"
                  R"("found":"it belongs to user 65534"})"),
              waitFor("go")});
    start();
    ASSERT_TRUE(turnUntil([&] { return told("agent-waits").size() == 1; }));
    EXPECT_EQ(reasonCodeOf("agent-waits"), "none");
    host_.release("found");
    ASSERT_TRUE(turnUntil([&] { return told("agent-waits").size() == 2; }));
    EXPECT_EQ(reasonCodeOf("agent-waits"), "unsafe-path");
    EXPECT_THAT(told("agent-waits")[1], HasSubstr("0 65 the agent waits"));
}

} // namespace
} // namespace service::test
