// SPDX-License-Identifier: MIT
// What the two threads leave for each other is there once, in order, in time and not without end.
#include "service/uplink/root_mailbox.h"

#include <chrono>
#include <gtest/gtest.h>
#include <poll.h>

namespace {

using std::chrono::milliseconds;

class RootMailbox : public testing::Test {
  protected:
    static bool isSet(const service::Flag &flag) {
        pollfd entry{flag.fd(), POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    }
    static service::Outgoing message(std::uint64_t id, milliseconds left = milliseconds(60000)) {
        return {id, "topic", "text", service::RootClock::now() + left};
    }
    std::uint64_t taken() {
        const auto next = mailbox_.takeOutgoing();
        return next ? next->id : 0;
    }

    service::RootMailbox mailbox_;
};

TEST_F(RootMailbox, HandsMessagesOutInOrderAndOnce) {
    mailbox_.send(message(1));
    mailbox_.send(message(2));
    EXPECT_TRUE(isSet(mailbox_.wake()));
    EXPECT_EQ(taken(), 1U);
    EXPECT_EQ(taken(), 2U);
    EXPECT_EQ(taken(), 0U);
}

TEST_F(RootMailbox, DoesNotHandOutWhatIsOverdue) {
    mailbox_.send(message(1, milliseconds(0)));
    mailbox_.send(message(2));
    EXPECT_EQ(taken(), 2U);
    EXPECT_TRUE(mailbox_.withdraw(1));
    EXPECT_FALSE(mailbox_.hasOutgoing());
}

TEST_F(RootMailbox, TellsWhetherAWithdrawnMessageWasStillThere) {
    mailbox_.send(message(1));
    EXPECT_TRUE(mailbox_.withdraw(1));
    EXPECT_FALSE(mailbox_.withdraw(1));
    EXPECT_EQ(taken(), 0U);
}

TEST_F(RootMailbox, PutsBackInFrontUnlessItIsToEnd) {
    mailbox_.send(message(2));
    mailbox_.giveBack(message(1));
    EXPECT_EQ(taken(), 1U);
    EXPECT_EQ(taken(), 2U);
    mailbox_.send(message(3));
    mailbox_.askToEnd();
    mailbox_.giveBack(message(4));
    EXPECT_EQ(taken(), 0U);
}

TEST_F(RootMailbox, IsFullUntilItsEventsAreTaken) {
    constexpr int kPlenty = 64;
    for (int i = 0; i < kPlenty; ++i) {
        EXPECT_FALSE(mailbox_.isFull());
        mailbox_.tell(service::ConnectionChange{true});
    }
    EXPECT_TRUE(mailbox_.isFull());
    EXPECT_TRUE(isSet(mailbox_.events()));
    mailbox_.wake().clear();
    EXPECT_EQ(mailbox_.takeEvents().size(), static_cast<std::size_t>(kPlenty));
    EXPECT_FALSE(mailbox_.isFull());
    EXPECT_FALSE(isSet(mailbox_.events()));
    EXPECT_TRUE(isSet(mailbox_.wake())) << "who waits for room is not woken";
}

TEST_F(RootMailbox, IsFullOfAFewLargeMessagesToo) {
    service::Unchecked large;
    large.text = std::string(service::kLongestRootMessage, 'x');
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(mailbox_.isFull());
        mailbox_.tell(large);
    }
    EXPECT_TRUE(mailbox_.isFull());
    mailbox_.takeEvents();
    EXPECT_FALSE(mailbox_.isFull());
}

TEST_F(RootMailbox, WaitsForTheEndNoLongerThanItIsWorth) {
    EXPECT_FALSE(mailbox_.waitForEnd(milliseconds(10)));
    mailbox_.ended();
    EXPECT_TRUE(mailbox_.waitForEnd(milliseconds(60000)));
}

} // namespace
