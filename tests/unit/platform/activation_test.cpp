// SPDX-License-Identifier: MIT
// Which bank boots next: only a whole one is chosen, and a choice that was made stands.
#include "faults.h"
#include "fixture.h"
#include "platform/nal.h"

#include <cerrno>
#include <fstream>

namespace {

class Activation : public OnANode {
  protected:
    void damagePassive() {
        std::fstream bank(in("bank_b"), std::ios::in | std::ios::out | std::ios::binary);
        bank.seekp(1234);
        bank.put('\0').put('\1');
    }

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
    EXPECT_EQ(bootState().next, nal::Bank::b);
    EXPECT_EQ(bootState().active, nal::Bank::a);
    char version[NAL_VERSION_WIDTH] = "";
    EXPECT_EQ(nal_getCurSwVersion(version), 0);
    EXPECT_STREQ(version, "1.0.0");
}

TEST_F(Activation, IsRefusedWhereTheBankHoldsNoWholeImage) {
    open();
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(errors_.find("bank b holds no whole image; write one first"), std::string::npos);
    EXPECT_EQ(bootState().next, nal::Bank::a);
}

TEST_F(Activation, IsRefusedForABankThatWasDamagedSinceAndNeverOfferedAgain) {
    open();
    installPassive("2.0.0");
    damagePassive();
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(errors_.find("is damaged, its SHA-256 sum is not the recorded one"),
              std::string::npos)
        << errors_;
    EXPECT_EQ(bootState().next, nal::Bank::a);
    char version[NAL_VERSION_WIDTH] = "";
    EXPECT_EQ(nal_getPrevSwVersion(version), NAL_NO_PREVIOUS_IMAGE);
}

TEST_F(Activation, OfABankDamagedAfterItWasChosenLeavesTheRunningBankToBoot) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(activate(), 0);
    damagePassive();
    EXPECT_EQ(activate(), 0);
    EXPECT_EQ(bootState().next, nal::Bank::a);
}

TEST_F(Activation, IsRefusedWhereTheChoiceCannotBeStored) {
    for (const faults::Call call :
         {faults::Call::rename, faults::Call::fileSync, faults::Call::write}) {
        open();
        installPassive("2.0.0");
        faults::failFrom(call, 1, EIO);
        EXPECT_EQ(activate(), 0);
        faults::clear();
        EXPECT_EQ(bootState().next, nal::Bank::a);
    }
}

TEST_F(Activation, StandsAfterTheFallBackThatFollowsIt) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(activate(), 0);
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, nal::Bank::b);
}

TEST_F(Activation, IsTakenBackWhereItsChoiceMayBeLostInAPowerCut) {
    open();
    installPassive("2.0.0");
    faults::failFrom(faults::Call::directorySync, 1, EIO);
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(nal_fallBackToActiveImage(), 0) << "the directory still cannot be synced";
    faults::clear();
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, nal::Bank::a);
    EXPECT_TRUE(bootState().of(nal::Bank::b).whole);
    ASSERT_NE(activate(), 0);
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, nal::Bank::b);
}

TEST_F(Activation, IsTakenBackWhereTheChosenBankIsNoLongerWhole) {
    nal::BootState state = bootState();
    state.next = nal::Bank::b;
    std::string whatIsWrong;
    ASSERT_TRUE(nal::writeBootState(statePath_, state, whatIsWrong));
    open();
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, nal::Bank::a);
}

TEST_F(Activation, FallBackWithoutAnActivationWritesNothing) {
    open();
    installPassive("2.0.0");
    faults::failFrom(faults::Call::rename, 1, EIO);
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, nal::Bank::a);
}

TEST_F(Activation, OfARunningBankBGoesToBankA) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(activate(), 0);
    nal::BootState state;
    std::string whatIsWrong;
    ASSERT_TRUE(nal::bootNode(statePath_, state, whatIsWrong));
    char version[NAL_VERSION_WIDTH] = "";
    EXPECT_EQ(nal_getCurSwVersion(version), 0);
    EXPECT_STREQ(version, "2.0.0");
    EXPECT_EQ(nal_getPrevSwVersion(version), 0);
    EXPECT_STREQ(version, "1.0.0");
    EXPECT_NE(activate(), 0) << errors_;
    EXPECT_EQ(bootState().next, nal::Bank::a);
}

} // namespace
