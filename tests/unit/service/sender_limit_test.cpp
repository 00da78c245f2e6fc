// SPDX-License-Identifier: MIT
// What a sender may have told, and what becomes of the rest.
#include "service/sender_limit.h"

#include <gtest/gtest.h>

namespace {

using service::SenderLimit;
using std::chrono::seconds;
using Verdict = service::SenderLimit::Verdict;

class ASenderLimit : public testing::Test {
  protected:
    Verdict judge(const std::string &what, const std::string &sender = "a") {
        return limit_.judge(sender, what, now_);
    }
    int toldOf(int count, const std::string &sender, bool distinct) {
        int told = 0;
        for (int i = 0; i < count; ++i) {
            told += judge(distinct ? std::to_string(i) : "same", sender) == Verdict::tell ? 1 : 0;
        }
        return told;
    }
    std::uint64_t leftOut(const std::string &sender = "a") {
        std::uint64_t count = 0;
        for (const auto &one : limit_.takeLeftOut(now_)) {
            count += one.sender == sender ? one.count : 0;
        }
        return count;
    }

    SenderLimit limit_;
    SenderLimit::Clock::time_point now_{seconds(1'000'000)};
};

TEST_F(ASenderLimit, LetsAnOrdinaryUpgradeThroughWordByWord) {
    for (int word = 0; word < 12; ++word) {
        EXPECT_EQ(judge("word " + std::to_string(word)), Verdict::tell);
        now_ += seconds(word % 3 == 0 ? 10 : 0);
    }
    EXPECT_FALSE(limit_.hasLeftOut());
}

TEST_F(ASenderLimit, LeavesRepeatsOutBeforeAnythingNew) {
    EXPECT_EQ(toldOf(1000, "a", false), SenderLimit::kBudget / 2 + 1);
    EXPECT_EQ(judge("same"), Verdict::repeat);
    EXPECT_EQ(judge("new"), Verdict::tell) << "a flood of repeats has drowned it";
    EXPECT_TRUE(limit_.hasLeftOut());
}

TEST_F(ASenderLimit, SaysWhenTheNextIsAdmitted) {
    SenderLimit slow(seconds(30));
    EXPECT_EQ(slow.waitOf("a", now_), seconds(0));
    for (int i = 0; i < SenderLimit::kBudget; ++i) {
        EXPECT_TRUE(slow.admitsNow("a", "", now_));
    }
    EXPECT_FALSE(slow.admitsNow("a", "", now_));
    EXPECT_EQ(slow.waitOf("a", now_), seconds(30));
    now_ += seconds(20);
    EXPECT_EQ(slow.waitOf("a", now_), seconds(10));
    EXPECT_TRUE(slow.admitsNow("b", "", now_));
    now_ += seconds(10);
    EXPECT_TRUE(slow.admitsNow("a", "", now_));
}

TEST_F(ASenderLimit, TakesItsBudgetAndWhatIsFilledUpMeanwhile) {
    EXPECT_EQ(toldOf(1000, "a", true), SenderLimit::kBudget);
    EXPECT_EQ(judge("new"), Verdict::over);
    now_ += SenderLimit::kRefill;
    EXPECT_EQ(judge("newer"), Verdict::tell);
    EXPECT_EQ(judge("newest"), Verdict::over);
    EXPECT_FALSE(limit_.admitsNow("a", "newest", now_));
    now_ += SenderLimit::kRefill;
    EXPECT_TRUE(limit_.admitsNow("a", "newest", now_));
    now_ += 1000 * SenderLimit::kRefill;
    EXPECT_EQ(toldOf(1000, "a", true), SenderLimit::kBudget);
}

TEST_F(ASenderLimit, CountsWhatItLeftOutAndTellsItOnceTheSenderIsQuiet) {
    toldOf(SenderLimit::kBudget + 312, "a", true);
    EXPECT_EQ(leftOut(), 0U) << "it goes on";
    now_ += SenderLimit::kQuiet;
    EXPECT_EQ(leftOut(), 312U);
    EXPECT_EQ(leftOut(), 0U);
    EXPECT_FALSE(limit_.hasLeftOut());
}

TEST_F(ASenderLimit, TellsItNowAndThenWhereTheSenderNeverRests) {
    toldOf(SenderLimit::kBudget, "a", true);
    std::uint64_t counted = 0;
    int lines = 0;
    for (int second = 0; second < 60; ++second) {
        toldOf(100, "a", false);
        const std::uint64_t now = leftOut();
        counted += now;
        lines += now > 0 ? 1 : 0;
        now_ += seconds(1);
    }
    EXPECT_GE(lines, 5);
    EXPECT_LE(lines, 6);
    EXPECT_GT(counted, 4000U);
}

TEST_F(ASenderLimit, DoesNotCountWhatIsKeptForLater) {
    toldOf(SenderLimit::kBudget + 2, "a", true);
    EXPECT_TRUE(limit_.keepsForLater("a"));
    EXPECT_FALSE(limit_.keepsForLater("b")) << "it has said nothing";
    now_ += SenderLimit::kQuiet;
    EXPECT_EQ(leftOut(), 1U);
    EXPECT_FALSE(limit_.hasLeftOut());
    now_ += SenderLimit::kRefill;
    EXPECT_TRUE(limit_.admitsNow("a", "kept", now_));
    now_ += SenderLimit::kTellAfter;
    EXPECT_EQ(leftOut(), 0U);
}

TEST_F(ASenderLimit, CountsWhatWasKeptOnceSomethingNewerIsTold) {
    toldOf(SenderLimit::kBudget + 1, "a", true);
    EXPECT_TRUE(limit_.keepsForLater("a"));
    now_ += SenderLimit::kRefill;
    EXPECT_EQ(judge("newer"), Verdict::tell);
    now_ += SenderLimit::kQuiet;
    EXPECT_EQ(leftOut(), 1U);
}

TEST_F(ASenderLimit, GivesEachSenderItsOwnBudget) {
    toldOf(1000, "loud", true);
    EXPECT_EQ(toldOf(SenderLimit::kBudget, "quiet", true), SenderLimit::kBudget);
}

TEST_F(ASenderLimit, RemembersSoManySendersAndNoMore) {
    int told = 0;
    for (int sender = 0; sender < 10'000; ++sender) {
        told += judge("hello", "sender " + std::to_string(sender)) == Verdict::tell ? 1 : 0;
    }
    EXPECT_LE(told, static_cast<int>(SenderLimit::kSenders) + SenderLimit::kBudget);
    EXPECT_TRUE(limit_.knows("sender 0"));
    EXPECT_FALSE(limit_.knows("sender 9999"));
    now_ += SenderLimit::kQuiet;
    EXPECT_EQ(leftOut(SenderLimit::kOthers), 10'000U - static_cast<std::uint64_t>(told));
    // Who was quiet long enough makes room.
    now_ += SenderLimit::kBudget * SenderLimit::kRefill;
    EXPECT_EQ(toldOf(SenderLimit::kBudget, "late", true), SenderLimit::kBudget);
    EXPECT_TRUE(limit_.knows("late"));
}

} // namespace
