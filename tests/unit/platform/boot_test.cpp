// SPDX-License-Identifier: MIT
// A boot takes the chosen bank where its bytes are good, else the other one, and stores which.
#include "platform/nal/boot.h"

#include "faults.h"
#include "fixture.h"
#include "platform/nal.h"

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

    void expectBooted(nal::Bank bank) {
        nal::BootState state;
        ASSERT_TRUE(boot(state)) << bootComplaint_;
        EXPECT_EQ(state.active, bank);
        EXPECT_EQ(bootState().active, bank);
        EXPECT_EQ(bootState().next, bank);
    }
};

TEST_F(Boot, TakesTheChosenBank) {
    expectBooted(nal::Bank::b);
    EXPECT_EQ(passedOver_, "");
    EXPECT_TRUE(bootState().of(nal::Bank::a).whole);
}

TEST_F(Boot, TakesTheRunningBankAgainWithoutAWrite) {
    expectBooted(nal::Bank::b);
    faults::failFrom(faults::Call::rename, 1, EIO);
    expectBooted(nal::Bank::b);
}

TEST_F(Boot, TakesTheRunningBankWhereTheChosenOneIsNotWhole) {
    nal::BootState state = bootState();
    state.of(nal::Bank::b).whole = false;
    std::string whatIsWrong;
    ASSERT_TRUE(nal::writeBootState(statePath_, state, whatIsWrong)) << whatIsWrong;
    expectBooted(nal::Bank::a);
    EXPECT_EQ(passedOver_, "the bank " + in("bank_b") + " holds no whole image");
}

TEST_F(Boot, TakesTheRunningBankWhereTheChosenOneWasDamagedAndForgetsThatOne) {
    damagePassive();
    expectBooted(nal::Bank::a);
    EXPECT_EQ(passedOver_.find("the image in the bank " + in("bank_b") + " is damaged"), 0U);
    EXPECT_FALSE(bootState().of(nal::Bank::b).whole);
    EXPECT_TRUE(bootState().of(nal::Bank::a).whole);
}

TEST_F(Boot, PassesOverABankThatCannotBeReadAndKeepsItsRecord) {
    std::filesystem::rename(in("bank_b"), in("away"));
    expectBooted(nal::Bank::a);
    EXPECT_NE(passedOver_.find("cannot be opened: No such file"), std::string::npos);
    EXPECT_TRUE(bootState().of(nal::Bank::b).whole);
}

TEST_F(Boot, TakesTheOtherBankWhereTheRunningOneWasDamaged) {
    expectBooted(nal::Bank::b);
    damagePassive();
    expectBooted(nal::Bank::a);
    EXPECT_FALSE(bootState().of(nal::Bank::b).whole);
}

TEST_F(Boot, IsRefusedWhereNoBankIsGoodOrTheStateCannotBeStored) {
    nal::BootState state;
    faults::failFrom(faults::Call::rename, 1, EIO);
    EXPECT_FALSE(boot(state));
    EXPECT_NE(bootComplaint_.find("boot_state: cannot be replaced"), std::string::npos);
    faults::clear();
    damagePassive();
    writeText(in("bank_a"), std::string(kBankSize, '\xEE'));
    const std::string before = readText(statePath_);
    EXPECT_FALSE(boot(state));
    EXPECT_EQ(bootComplaint_.find("no bank can boot: the image in the bank " + in("bank_b")), 0U)
        << bootComplaint_;
    EXPECT_EQ(bootComplaint_.find('\n'), std::string::npos);
    EXPECT_EQ(readText(statePath_), before);
}

} // namespace
