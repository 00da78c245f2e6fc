// SPDX-License-Identifier: MIT
// Which bank boots next: only a whole one is chosen, and a choice that was made stands.
#include "faults.h"
#include "fixture.h"
#include "platform/nal.h"
#include "platform/trial.h"
#include "tests/support/results.h"

#include <cerrno>
#include <filesystem>

namespace {

class Activation : public OnANode {
  protected:
    int activate() {
        int result = 0;
        errors_ = errorsOf([&] { result = nal_activatePassiveImage(); });
        return result;
    }

    std::string errors_;
};

TEST_F(Activation, ChoosesTheWrittenBank) {
    open();
    installPassive("2.0.0");
    EXPECT_NE(activate(), 0) << errors_;
    EXPECT_EQ(bootState().next, node::Bank::b);
    EXPECT_EQ(bootState().active, node::Bank::a);
    char version[NAL_VERSION_WIDTH] = "";
    EXPECT_EQ(nal_getCurSwVersion(version), 0);
    EXPECT_STREQ(version, "1.0.0");
}

TEST_F(Activation, IsRefusedForAVersionUnderTheLowest) {
    open();
    installPassive("2.0.0");
    writeText(configPath_, configWith("", "") + "[service]\nlowest_version = 2.0.1\n");
    open();
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(errors_.find("bank b holds 2.0.0, the lowest that this node takes is 2.0.1"),
              std::string::npos)
        << errors_;
    EXPECT_EQ(bootState().next, node::Bank::a);
}

TEST_F(Activation, IsRefusedWhereTheBankHoldsNoWholeImage) {
    open();
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(errors_.find("bank b holds no whole image; write one first"), std::string::npos);
    EXPECT_EQ(bootState().next, node::Bank::a);
}

TEST_F(Activation, IsRefusedForABankThatWasDamagedSinceAndNeverOfferedAgain) {
    open();
    installPassive("2.0.0");
    damagePassive();
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(errors_.find("is damaged, its SHA-256 sum is not the recorded one"),
              std::string::npos)
        << errors_;
    EXPECT_EQ(bootState().next, node::Bank::a);
    char version[NAL_VERSION_WIDTH] = "";
    EXPECT_EQ(nal_getPrevSwVersion(version), NAL_NO_PREVIOUS_IMAGE);
}

TEST_F(Activation, OfABankDamagedAfterItWasChosenLeavesTheRunningBankToBoot) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(activate(), 0);
    damagePassive();
    EXPECT_EQ(activate(), 0);
    EXPECT_EQ(bootState().next, node::Bank::a);
}

TEST_F(Activation, IsRefusedWhereTheChoiceCannotBeStored) {
    // The library does not tell of its own sync, the first.
    for (const auto &[call, n] : {std::pair{faults::Call::fileSync, 2}, {faults::Call::write, 1}}) {
        open();
        installPassive("2.0.0");
        faults::failOnce(call, n, EIO);
        EXPECT_EQ(activate(), 0);
        faults::clear();
        EXPECT_EQ(bootState().next, node::Bank::a);
        EXPECT_FALSE(bootState().trial);
    }
}

TEST_F(Activation, ReportedAsFailedDoesNotBootEvenWithoutAFallBack) {
    open();
    installPassive("2.0.0");
    faults::failOnce(faults::Call::fileSync, 2, EIO); // the first is not asked for its result
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(errors_.find("the boot state cannot be synced"), std::string::npos) << errors_;
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
}

TEST_F(Activation, AgainOfAChosenBankThatHoldsStandsWithoutAWrite) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(activate(), 0);
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_NE(activate(), 0) << errors_;
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::b);
}

TEST_F(Activation, AgainOfAChoiceThatMayBeLostStoresItAnew) {
    open();
    installPassive("2.0.0");
    faults::failFrom(faults::Call::fileSync, 1, EIO);
    ASSERT_EQ(activate(), 0);
    node::BootState state = bootState();
    state.next = node::Bank::b; // as if a power cut had kept the choice and lost its withdrawal
    std::string whatIsWrong;
    EXPECT_FALSE(succeeds(node::writeBootState(statePath_, state), whatIsWrong));
    EXPECT_EQ(activate(), 0) << "the boot state still cannot be synced";
    faults::clear();
    EXPECT_NE(activate(), 0) << errors_;
    EXPECT_EQ(bootState().next, node::Bank::b);
}

TEST_F(Activation, OfAChosenBankFoundDamagedIsTakenBackOnceTheStateCanBeWritten) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(activate(), 0);
    damagePassive();
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(errors_.find("is damaged"), std::string::npos) << errors_;
    EXPECT_NE(errors_.find("the boot state cannot be written"), std::string::npos) << errors_;
    EXPECT_NE(nal_fallBackToActiveImage(), 0);
    faults::clear();
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_FALSE(bootState().of(node::Bank::b).whole);
}

TEST_F(Activation, KeepsTheRecordOfABankThatCannotBeReadJustNow) {
    open();
    installPassive("2.0.0");
    std::filesystem::rename(in("bank_b"), in("away"));
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(errors_.find("cannot be opened: No such file"), std::string::npos) << errors_;
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
    std::filesystem::rename(in("away"), in("bank_b"));
    EXPECT_NE(activate(), 0) << errors_;
    EXPECT_EQ(bootState().next, node::Bank::b);
}

TEST_F(Activation, AgainOfAChosenBankThatCannotBeReadIsRefusedAndTheFallBackKeepsItsRecord) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(activate(), 0);
    std::filesystem::rename(in("bank_b"), in("away"));
    EXPECT_EQ(activate(), 0);
    EXPECT_EQ(bootState().next, node::Bank::a) << "what is reported as failed does not boot";
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
}

TEST_F(Activation, StandsAfterTheFallBackThatFollowsIt) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(activate(), 0);
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::b);
}

TEST_F(Activation, IsTakenBackWhereItsChoiceMayBeLostInAPowerCut) {
    open();
    installPassive("2.0.0");
    faults::failFrom(faults::Call::fileSync, 1, EIO);
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(nal_fallBackToActiveImage(), 0) << "the boot state still cannot be synced";
    faults::clear();
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
    ASSERT_NE(activate(), 0);
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::b);
}

TEST_F(Activation, IsTakenBackWhereTheChosenBankIsNoLongerWhole) {
    node::BootState state = bootState();
    state.next = node::Bank::b;
    std::string whatIsWrong;
    ASSERT_TRUE(succeeds(node::writeBootState(statePath_, state), whatIsWrong));
    open();
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::a);
}

TEST_F(Activation, FallBackWithoutAnActivationWritesNothing) {
    open();
    installPassive("2.0.0");
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::a);
}

TEST_F(Activation, OfARunningBankBGoesToBankA) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(activate(), 0);
    node::BootState state;
    ASSERT_TRUE(boot(state)) << bootComplaint_;
    char version[NAL_VERSION_WIDTH] = "";
    EXPECT_EQ(nal_getCurSwVersion(version), 0);
    EXPECT_STREQ(version, "2.0.0");
    EXPECT_EQ(nal_getPrevSwVersion(version), 0);
    EXPECT_STREQ(version, "1.0.0");
    std::string whatIsWrong;
    ASSERT_TRUE(succeeds(nalCommit(), whatIsWrong)) << whatIsWrong;
    EXPECT_NE(activate(), 0) << errors_;
    EXPECT_EQ(bootState().next, node::Bank::a);
}

} // namespace
