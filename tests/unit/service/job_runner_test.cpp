// SPDX-License-Identifier: MIT
// The order in which the parts of the job runner have their turn.
#include "daemon_fixture.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;

class JobRunner : public DaemonTest {};

TEST_F(JobRunner, ends_a_host_that_reports_the_end_of_a_call_that_nobody_made) {
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE"), doneWith("{}"), doneWith("{}"), hang()});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return host_.count("start-up") == 2 && idle(); }));
    EXPECT_EQ(told("host-crashed").size(), 1U);
    EXPECT_THAT(codesOf(ticket), ElementsAre(base::rowOf(Outcome::notNeeded).code));
}

} // namespace
} // namespace service::test
