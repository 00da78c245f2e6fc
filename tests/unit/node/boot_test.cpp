// SPDX-License-Identifier: MIT
// A boot takes the chosen bank where it comes up; one on trial has its attempts; else the other.
#include "node/boot.h"

#include "faults.h"
#include "fixture.h"
#include "platform/nal.h"
#include "platform/trial.h"
#include "tests/support/results.h"

#include <cerrno>
#include <filesystem>

namespace {

class Boot : public OnANode {
  protected:
    Boot() {
        open();
        installPassive("2.0.0");
        EXPECT_NE(nal_activatePassiveImage(), 0);
    }

    void expectBooted(node::Bank bank) {
        node::BootState state;
        ASSERT_TRUE(boot(state)) << bootComplaint_;
        EXPECT_EQ(state.active, bank);
        EXPECT_EQ(bootState().active, bank);
    }

    void commit() {
        std::string whatIsWrong;
        ASSERT_TRUE(succeeds(nalCommit(), whatIsWrong)) << whatIsWrong;
    }

    void store(const node::BootState &state) {
        std::string whatIsWrong;
        ASSERT_TRUE(succeeds(node::writeBootState(statePath_, state), whatIsWrong)) << whatIsWrong;
    }
};

TEST_F(Boot, TakesTheChosenBank) {
    expectBooted(node::Bank::b);
    EXPECT_EQ(passedOver_, "");
    EXPECT_TRUE(bootState().of(node::Bank::a).whole);
}

TEST_F(Boot, TakesAnAttemptOffABankOnTrialUntilNoneIsLeft) {
    for (const int left : {2, 1, 0}) {
        expectBooted(node::Bank::b);
        EXPECT_EQ(bootState().attemptsOf(node::Bank::b), left);
        EXPECT_TRUE(bootState().isOnTrial(node::Bank::b));
        EXPECT_EQ(bootState().attemptsOf(node::Bank::a), 3);
    }
    expectBooted(node::Bank::a);
    EXPECT_EQ(passedOver_, "bank b is on trial and has no attempt left");
    EXPECT_TRUE(bootState().isOnTrial(node::Bank::b))
        << "what became of it is for the node to settle";
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
}

TEST_F(Boot, OfACommittedBankWritesAndCountsNothing) {
    expectBooted(node::Bank::b);
    commit();
    const std::string before = readText(statePath_);
    const auto written = std::filesystem::last_write_time(statePath_);
    faults::failFrom(faults::Call::write, 1, EIO);
    for (int restart = 0; restart < 1000; ++restart) {
        expectBooted(node::Bank::b);
        ASSERT_FALSE(HasFailure()) << restart;
    }
    faults::clear();
    EXPECT_EQ(readText(statePath_), before);
    EXPECT_EQ(std::filesystem::last_write_time(statePath_), written);
}

TEST_F(Boot, TakesTheRunningBankWhereTheChosenOneIsNotWhole) {
    node::BootState state = bootState();
    state.trial.reset();
    state.of(node::Bank::b).whole = false;
    store(state);
    expectBooted(node::Bank::a);
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_EQ(passedOver_, "the bank " + in("bank_b") + " holds no whole image");
}

TEST_F(Boot, UsesUpTheAttemptsOfABankOnTrialThatDoesNotComeUp) {
    damagePassive();
    expectBooted(node::Bank::a);
    for (const char *left : {"; 2 of its attempts left\n", "; 1 of its attempts left\n",
                             "; 0 of its attempts left\nbank b is on trial and has no attempt"}) {
        EXPECT_NE(passedOver_.find(left), std::string::npos) << passedOver_;
    }
    EXPECT_EQ(passedOver_.find("the image in the bank " + in("bank_b") + " is damaged"), 0U);
    EXPECT_EQ(bootState().attemptsOf(node::Bank::b), 0);
    EXPECT_EQ(bootState().of(node::Bank::b).version, "2.0.0") << "it says which version failed";
    expectBooted(node::Bank::a);
}

TEST_F(Boot, PassesOverABankThatCannotBeReadAndKeepsItsRecord) {
    std::filesystem::rename(in("bank_b"), in("away"));
    expectBooted(node::Bank::a);
    EXPECT_NE(passedOver_.find("cannot be opened: No such file"), std::string::npos);
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
}

TEST_F(Boot, TakesTheOtherBankWhereTheRunningOneWasDamagedAndForgetsThatOne) {
    expectBooted(node::Bank::b);
    commit();
    damagePassive();
    expectBooted(node::Bank::a);
    EXPECT_FALSE(bootState().of(node::Bank::b).whole);
    EXPECT_EQ(bootState().next, node::Bank::a);
}

TEST_F(Boot, TakesABankWithoutAttemptsLeftWhereThereIsNoOther) {
    node::BootState state = bootState();
    state.attemptsOf(node::Bank::b) = 0;
    store(state);
    writeText(in("bank_a"), std::string(kBankSize, '\xEE'));
    expectBooted(node::Bank::b);
    EXPECT_FALSE(bootState().of(node::Bank::a).whole);
}

TEST_F(Boot, DoesNotTryABankWhoseAttemptCannotBeCounted) {
    faults::failFrom(faults::Call::write, 1, EROFS);
    node::BootState state;
    ASSERT_TRUE(boot(state)) << bootComplaint_;
    EXPECT_EQ(state.active, node::Bank::a);
    EXPECT_EQ(passedOver_.find("bank b is on trial, and the attempt cannot be counted: "), 0U)
        << passedOver_;
    EXPECT_NE(passedOver_.find("Read-only file system"), std::string::npos) << passedOver_;
}

TEST_F(Boot, OfAnotherBankThanRecordedThatCannotBeStoredNeedsTheKernelToBeTold) {
    expectBooted(node::Bank::b);
    commit();
    damagePassive();
    faults::failFrom(faults::Call::write, 1, EIO);
    node::BootState state;
    EXPECT_FALSE(boot(state)) << "bank b is damaged, and bank a would be taken for it";
    EXPECT_NE(bootComplaint_.find("the boot state cannot be written"), std::string::npos)
        << bootComplaint_;
    faults::clear();
    commandLine_ = in("cmdline");
    faults::failOnce(faults::Call::fileSync, 2, EIO); // the first is the command line's
    ASSERT_TRUE(boot(state)) << bootComplaint_;
    EXPECT_EQ(state.active, node::Bank::a);
    EXPECT_EQ(readText(commandLine_), "ota.bank=a\n");
}

TEST_F(Boot, GoesByTheCopyThatWasStoredWhereTheOtherOneCouldNotBe) {
    faults::failFrom(faults::Call::write, 2, EIO);
    node::BootState state;
    ASSERT_TRUE(boot(state)) << bootComplaint_;
    faults::clear();
    EXPECT_EQ(bootState().active, state.active) << "what runs is what the node will believe";
}

TEST_F(Boot, TakesTheRecordedBankWhereNothingCanBeStored) {
    expectBooted(node::Bank::b);
    faults::failFrom(faults::Call::write, 1, EROFS);
    node::BootState state;
    ASSERT_TRUE(boot(state)) << bootComplaint_;
    faults::clear();
    EXPECT_EQ(state.active, node::Bank::b);
    EXPECT_EQ(bootState().active, node::Bank::b);
}

TEST_F(Boot, TakesAWordOfTheKernelAwayThatItCannotReplace) {
    commandLine_ = in("cmdline");
    expectBooted(node::Bank::b);
    faults::failFrom(faults::Call::rename, 1, EIO);
    expectBooted(node::Bank::b);
    EXPECT_NE(passedOver_.find("the kernel is not told which bank runs"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(commandLine_));
}

TEST_F(Boot, KeepsTheOrderWhereTheChosenBankCannotBeReadJustNow) {
    expectBooted(node::Bank::b);
    commit();
    std::filesystem::rename(in("bank_b"), in("away"));
    expectBooted(node::Bank::a);
    EXPECT_EQ(bootState().next, node::Bank::b);
    std::filesystem::rename(in("away"), in("bank_b"));
    expectBooted(node::Bank::b);
}

TEST_F(Boot, IsRefusedWhereNoBankIsGood) {
    damagePassive();
    writeText(in("bank_a"), std::string(kBankSize, '\xEE'));
    node::BootState state;
    EXPECT_FALSE(boot(state));
    EXPECT_EQ(bootComplaint_.find("no bank can boot; the image in the bank " + in("bank_b")), 0U)
        << bootComplaint_;
    EXPECT_EQ(bootComplaint_.find('\n'), std::string::npos);
}

} // namespace
