// SPDX-License-Identifier: MIT
// What the history tells of requests, line by line.
#include "service/state/tickets_told.h"

#include <gtest/gtest.h>

namespace {

TEST(TicketsTold, AreOpenUntilTheirEndIsTold) {
    service::TicketsTold tickets;
    const auto take = [&tickets](const std::string &event, int ticket) {
        tickets.take(R"({"event":")" + event + R"(","version":"4QZ)" + std::to_string(ticket) +
                     R"(","ticket":)" + std::to_string(ticket) + R"(,"code":0})");
    };
    using Open = std::map<std::uint64_t, std::string>;
    for (const int ticket : {1, 2, 4, 3}) {
        take("accepted", ticket);
    }
    take("finished", 1);
    take("cancelled", 3);
    EXPECT_EQ(tickets.open(), (Open{{2, "4QZ2"}, {4, "4QZ4"}}));
    take("stage", 9);
    EXPECT_EQ(tickets.open().count(9), 0U) << "nobody took it over";
    EXPECT_EQ(tickets.last(), 9U);
    tickets.take("no line");
    take("accepted", 0);
    EXPECT_EQ(tickets.last(), 9U);
    EXPECT_EQ(tickets.open().size(), 2U);
}

} // namespace
