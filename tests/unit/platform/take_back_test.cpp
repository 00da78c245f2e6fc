// SPDX-License-Identifier: MIT
// A cancelled upgrade leaves the running bank to boot.
#include "faults.h"
#include "fixture.h"
#include "platform/nal.h"
#include "platform/take_back.h"
#include "tests/support/results.h"

#include <cerrno>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class TakeBack : public OnANode {
  protected:
    TakeBack() { open(); }

    std::string whatIsWrong_;
};

TEST_F(TakeBack, TakesAnActivationBackAndKeepsTheImage) {
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    EXPECT_TRUE(succeeds(nalTakeBack(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_FALSE(bootState().trial);
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::a);
}

TEST_F(TakeBack, OfAHalfWrittenBankMarksNothingWhole) {
    node::BootState state = bootState();
    state.next = node::Bank::b;
    ASSERT_TRUE(succeeds(node::writeBootState(statePath_, state), whatIsWrong_));
    EXPECT_TRUE(succeeds(nalTakeBack(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_FALSE(bootState().of(node::Bank::b).whole);
}

TEST_F(TakeBack, WithNothingToTakeBackWritesNothing) {
    const std::string before = readText(statePath_);
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_TRUE(succeeds(nalTakeBack(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_TRUE(succeeds(nalTakeBack(), whatIsWrong_)) << "a second time, with the files gone";
    EXPECT_EQ(readText(statePath_), before);
}

TEST_F(TakeBack, LeavesABankThatHasBootedAsTheRunningOne) {
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    node::BootState state;
    ASSERT_TRUE(boot(state)) << bootComplaint_;
    EXPECT_TRUE(succeeds(nalTakeBack(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_EQ(bootState().active, node::Bank::b);
    EXPECT_EQ(bootState().next, node::Bank::b);
}

TEST_F(TakeBack, ThatCannotStoreTheChoiceSaysSo) {
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_FALSE(succeeds(nalTakeBack(), whatIsWrong_));
    EXPECT_EQ(whatIsWrong_, statePath_ + ": the boot state cannot be written: Input/output error; "
                                         "check the file system or device that holds the boot "
                                         "state");
    EXPECT_EQ(bootState().next, node::Bank::b);
}

TEST_F(TakeBack, GivesUpAnImageThatWaits) {
    installPassive("2.0.0");
    EXPECT_TRUE(succeeds(nalGiveUpPassive(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_FALSE(bootState().of(node::Bank::b).whole);
    EXPECT_TRUE(bootState().of(node::Bank::a).whole);
    const std::string before = readText(statePath_);
    EXPECT_TRUE(succeeds(nalGiveUpPassive(), whatIsWrong_)) << "a second time, with nothing left";
    EXPECT_EQ(readText(statePath_), before);
}

TEST_F(TakeBack, SaysWhereAnImageCannotBeGivenUp) {
    installPassive("2.0.0");
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_FALSE(succeeds(nalGiveUpPassive(), whatIsWrong_));
    EXPECT_NE(whatIsWrong_.find("cannot be written"), std::string::npos) << whatIsWrong_;
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
}

TEST_F(TakeBack, DoesNotGiveUpAnImageThatBootsNext) {
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    EXPECT_FALSE(succeeds(nalGiveUpPassive(), whatIsWrong_));
    EXPECT_EQ(whatIsWrong_, "bank b (2.0.0) is activated or on trial");
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
}

TEST_F(TakeBack, CutByAPowerCutAtAnyStepLeavesABootStateThatCanBeRead) {
    for (int step = 1;; ++step) {
        resetNode();
        installPassive("2.0.0");
        ASSERT_NE(nal_activatePassiveImage(), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            faults::cutPowerAt(step);
            _exit(succeeds(nalTakeBack(), whatIsWrong_) ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(bootState().of(node::Bank::b).whole) << step;
        EXPECT_EQ(bootState().active, node::Bank::a);
        if (WEXITSTATUS(status) != faults::kPowerCut) {
            EXPECT_EQ(WEXITSTATUS(status), 0);
            EXPECT_EQ(bootState().next, node::Bank::a);
            ASSERT_GT(step, 3) << "no step was cut";
            return;
        }
    }
}

} // namespace
