// SPDX-License-Identifier: MIT
// What the host says and cannot be understood.
#include "daemon_fixture.h"

namespace service::test {
namespace {

using testing::HasSubstr;

struct Nonsense {
    const char *name;
    Action action;
};

class NonsenseOfTheHost : public DaemonTest, public testing::WithParamInterface<Nonsense> {};

TEST_P(NonsenseOfTheHost, ends_it_and_another_one_goes_on) {
    host_.on("new-image", {GetParam().action, hang()});
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return host_.count("start-up") == 2; }));
    ASSERT_EQ(told("host-crashed").size(), 1U);
    EXPECT_THAT(told("host-crashed")[0], HasSubstr("could not be understood"));
    ASSERT_TRUE(turnUntil([&] { return finished(ticket) && idle(); }));
    EXPECT_EQ(host_.count("new-image"), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    HostCalls, NonsenseOfTheHost,
    testing::Values(Nonsense{"call", say(R"({"call":"nonsense"})")},
                    Nonsense{"note", say(R"({"note":"nonsense"})")}, Nonsense{"neither", say("{}")},
                    Nonsense{"reason", say(R"({"note":"cause","reason":"made-up",)"
                                           R"("text":"x","attempt":0})")}),
    [](const testing::TestParamInfo<Nonsense> &tested) { return tested.param.name; });

} // namespace
} // namespace service::test
