// SPDX-License-Identifier: MIT
// A new version proves itself before its bank is good; one that fails is remembered and refused.
#include "platform/trial.h"

#include "faults.h"
#include "fixture.h"
#include "platform/nal.h"
#include "tests/support/results.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

namespace {

class Trial : public OnANode {
  protected:
    void openWith(const std::string &trialKeys) {
        writeText(configPath_, configWith("", "") + "[trial]\n" + trialKeys);
        open();
    }

    void upgradeTo(const char *version) {
        installPassive(version);
        ASSERT_NE(nal_activatePassiveImage(), 0);
    }

    void bootInto(node::Bank bank) {
        node::BootState state;
        ASSERT_TRUE(boot(state)) << bootComplaint_;
        ASSERT_EQ(state.active, bank);
    }

    NalTrial begin() { return nalBeginTrial(what_); }

    int activate() {
        int result = 0;
        what_ = errorsOf([&] { result = nal_activatePassiveImage(); });
        return result;
    }

    int writeAgain(const char *version) {
        int result = 0;
        writeText(in("image"), imageOf(payloadOf(300000, 8), version));
        what_ = errorsOf([&] { result = nal_writePassiveImage(in("image").c_str()); });
        return result;
    }

    std::string what_;
};

TEST_F(Trial, IsNoneBeforeAnythingWasActivated) {
    open();
    EXPECT_EQ(begin(), NalTrial::none);
    EXPECT_TRUE(succeeds(nalCommit(), what_)) << what_;
}

TEST_F(Trial, BeginsWithTheActivationAndEndsWithTheCommit) {
    openWith("attempts = 5\n");
    upgradeTo("2.0.0");
    EXPECT_TRUE(bootState().isOnTrial(node::Bank::b));
    EXPECT_EQ(bootState().attemptsOf(node::Bank::b), 5);
    bootInto(node::Bank::b);
    EXPECT_EQ(begin(), NalTrial::running);
    EXPECT_EQ(what_, "bank b (2.0.0) is on trial, 4 boot attempts left");
    EXPECT_TRUE(succeeds(nalCheckHealth(), what_)) << "there is no command: " << what_;
    EXPECT_TRUE(succeeds(nalCommit(), what_)) << what_;
    EXPECT_FALSE(bootState().trial);
    EXPECT_EQ(bootState().next, node::Bank::b);
    EXPECT_EQ(bootState().attemptsOf(node::Bank::b), 5);
    EXPECT_EQ(begin(), NalTrial::none);
    EXPECT_TRUE(bootState().failed.empty());
}

TEST_F(Trial, ThatUsedUpItsAttemptsIsSettledOnTheOldBankAndRefusedFromThenOn) {
    open();
    upgradeTo("2.0.0");
    for (int attempt = 0; attempt < 3; ++attempt) {
        bootInto(node::Bank::b);
    }
    bootInto(node::Bank::a);
    EXPECT_EQ(begin(), NalTrial::failed);
    EXPECT_EQ(what_, "bank b (2.0.0) failed its trial: it used up its boot attempts, bank a "
                     "(1.0.0) runs again");
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_FALSE(bootState().trial);
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
    ASSERT_EQ(bootState().failed.size(), 1U);
    EXPECT_EQ(bootState().failed[0].version, "2.0.0");
    EXPECT_EQ(bootState().failed[0].last, node::TrialFailure::boot);
    EXPECT_EQ(begin(), NalTrial::none);
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(what_.find("bank b holds 2.0.0, which failed its trial"), std::string::npos) << what_;
    const std::string before = readText(in("bank_b"));
    EXPECT_NE(writeAgain("2.0.0"), 0);
    EXPECT_NE(what_.find("failed its trial"), std::string::npos) << what_;
    EXPECT_EQ(readText(in("bank_b")), before) << "a refused version does not wear out the flash";
    EXPECT_EQ(writeAgain("2.0.1"), 0) << what_;
}

TEST_F(Trial, OfABankThatWasDamagedTakesItsRecordAway) {
    open();
    upgradeTo("2.0.0");
    damagePassive();
    bootInto(node::Bank::a);
    EXPECT_EQ(begin(), NalTrial::failed);
    EXPECT_FALSE(bootState().of(node::Bank::b).whole);
    EXPECT_EQ(bootState().failed.at(0).version, "2.0.0");
}

TEST_F(Trial, PassedOverWithAttemptsLeftSaysNothingAgainstTheVersion) {
    open();
    upgradeTo("2.0.0");
    faults::failFrom(faults::Call::write, 1, EIO);
    bootInto(node::Bank::a);
    faults::clear();
    EXPECT_EQ(begin(), NalTrial::failed);
    EXPECT_EQ(what_, "bank b (2.0.0) was passed over by the boot loader with 3 boot attempts "
                     "left, bank a (1.0.0) runs again");
    EXPECT_TRUE(bootState().failed.empty());
    EXPECT_FALSE(bootState().trial);
    EXPECT_NE(activate(), 0) << what_;
}

TEST_F(Trial, ThatPassedIsNotTakenBackBetweenTheReportAndTheCommit) {
    openWith("attempts = 1\nhealth_command = false\n");
    upgradeTo("2.0.0");
    bootInto(node::Bank::b);
    EXPECT_FALSE(nalIsHealthy());
    EXPECT_TRUE(succeeds(nalPrepareCommit(), what_)) << what_;
    EXPECT_TRUE(nalIsHealthy());
    EXPECT_TRUE(bootState().isOnTrial(node::Bank::b));
    bootInto(node::Bank::b);
    EXPECT_EQ(begin(), NalTrial::running);
    EXPECT_TRUE(nalIsHealthy()) << "the health command is not asked again";
    EXPECT_TRUE(succeeds(nalCommit(), what_)) << what_;
    EXPECT_FALSE(bootState().healthy);
}

TEST_F(Trial, ThatPassesTakesAnEarlierFailureBack) {
    openWith("refuse_after = 2\n");
    upgradeTo("2.0.0");
    bootInto(node::Bank::b);
    ASSERT_TRUE(succeeds(nalFailTrial(), what_)) << what_;
    bootInto(node::Bank::a);
    ASSERT_EQ(bootState().failed.size(), 1U);
    upgradeTo("2.0.0");
    bootInto(node::Bank::b);
    ASSERT_TRUE(succeeds(nalCommit(), what_)) << what_;
    EXPECT_TRUE(bootState().failed.empty());
}

TEST_F(Trial, RebootsOnlySoOftenForABankThatDoesNotCome) {
    open();
    upgradeTo("2.0.0");
    bootInto(node::Bank::b);
    ASSERT_TRUE(succeeds(nalFailTrial(), what_)) << what_;
    for (int reboot = 0; reboot < 3; ++reboot) {
        EXPECT_TRUE(succeeds(nalMayReboot(), what_)) << what_;
    }
    EXPECT_FALSE(succeeds(nalMayReboot(), what_));
    EXPECT_EQ(what_, "the boot loader does not take bank a (1.0.0), which was chosen");
}

TEST_F(Trial, OfANodeWithNothingToFallBackToTakesAnotherImage) {
    open();
    upgradeTo("2.0.0");
    bootInto(node::Bank::b);
    node::BootState state = bootState();
    state.of(node::Bank::a) = node::BankRecord{};
    ASSERT_TRUE(succeeds(node::writeBootState(statePath_, state), what_));
    EXPECT_EQ(writeAgain("3.0.0"), 0) << what_;
    EXPECT_TRUE(bootState().isOnTrial(node::Bank::b));
}

TEST_F(Trial, ThatIsUnhealthyGoesBackToTheOldBank) {
    openWith("health_command = exit 7\n");
    upgradeTo("2.0.0");
    bootInto(node::Bank::b);
    ASSERT_EQ(begin(), NalTrial::running);
    EXPECT_FALSE(succeeds(nalCheckHealth(), what_));
    EXPECT_EQ(what_, "the health command ended with 7: exit 7");
    EXPECT_TRUE(succeeds(nalFailTrial(), what_)) << what_;
    bootInto(node::Bank::a);
    EXPECT_EQ(passedOver_, "");
    EXPECT_EQ(begin(), NalTrial::none);
    EXPECT_EQ(bootState().failed.at(0).last, node::TrialFailure::health);
}

TEST_F(Trial, FailsOnlyWhereThereIsABankToFallBackTo) {
    open();
    EXPECT_FALSE(succeeds(nalFailTrial(), what_));
    EXPECT_EQ(what_, "bank a (1.0.0) runs and is not on trial");
    upgradeTo("2.0.0");
    bootInto(node::Bank::b);
    node::BootState state = bootState();
    state.of(node::Bank::a) = node::BankRecord{};
    ASSERT_TRUE(succeeds(node::writeBootState(statePath_, state), what_));
    EXPECT_FALSE(succeeds(nalFailTrial(), what_));
    EXPECT_EQ(what_, "bank a holds no whole image to fall back to");
    EXPECT_TRUE(bootState().isOnTrial(node::Bank::b));
}

TEST_F(Trial, LeavesTheBankToFallBackToAlone) {
    open();
    upgradeTo("2.0.0");
    bootInto(node::Bank::b);
    const std::string before = readText(in("bank_a"));
    EXPECT_NE(writeAgain("3.0.0"), 0);
    EXPECT_NE(what_.find("bank b runs on trial"), std::string::npos) << what_;
    EXPECT_EQ(activate(), 0);
    EXPECT_NE(what_.find("bank b runs on trial"), std::string::npos) << what_;
    EXPECT_EQ(readText(in("bank_a")), before);
    EXPECT_TRUE(bootState().of(node::Bank::a).whole);
}

TEST_F(Trial, OfAVersionThatMayFailMoreOftenIsRefusedOnlyThen) {
    openWith("refuse_after = 2\nattempts = 1\n");
    for (const bool refused : {false, true}) {
        upgradeTo("2.0.0");
        bootInto(node::Bank::b);
        bootInto(node::Bank::a);
        ASSERT_EQ(begin(), NalTrial::failed);
        EXPECT_EQ(writeAgain("2.0.0") != 0, refused) << what_;
    }
    EXPECT_FALSE(succeeds(nalForget("2.0.1"), what_));
    EXPECT_EQ(what_, "2.0.1 is not remembered as a version that failed its trial");
    EXPECT_TRUE(succeeds(nalForget("2.0.0"), what_)) << what_;
    EXPECT_EQ(writeAgain("2.0.0"), 0) << what_;
}

TEST_F(Trial, SettledButNotStoredIsSaidAndSettledTheNextTime) {
    open();
    upgradeTo("2.0.0");
    damagePassive();
    bootInto(node::Bank::a);
    faults::failFrom(faults::Call::write, 1, EROFS);
    EXPECT_EQ(begin(), NalTrial::failed);
    EXPECT_NE(what_.find("; this could not be stored: "), std::string::npos) << what_;
    faults::clear();
    EXPECT_EQ(begin(), NalTrial::failed);
    EXPECT_EQ(begin(), NalTrial::none);
}

TEST_F(Trial, CommitsAgainWhereTheCommitCouldNotBeStored) {
    open();
    upgradeTo("2.0.0");
    bootInto(node::Bank::b);
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_FALSE(succeeds(nalCommit(), what_));
    faults::clear();
    EXPECT_TRUE(bootState().isOnTrial(node::Bank::b));
    EXPECT_TRUE(succeeds(nalCommit(), what_)) << what_;
    EXPECT_FALSE(bootState().trial);
}

TEST_F(Trial, HealthCommandIsKilledAtItsLimitWithAllThatItStarted) {
    openWith("health_command = (while :; do echo x >> beats; sleep 0.05; done) & sleep 600\n"
             "health_limit = 1\n");
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_FALSE(succeeds(nalCheckHealth(), what_));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(300));
    EXPECT_EQ(what_.find("the health command did not end within 1 s: "), 0U) << what_;
    const std::string beats = readText(in("beats"));
    EXPECT_FALSE(beats.empty());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(readText(in("beats")), beats);
}

TEST_F(Trial, HealthCommandThatDiesOfASignalSaysWhich) {
    openWith("health_command = kill -9 $$\n");
    EXPECT_FALSE(succeeds(nalCheckHealth(), what_));
    EXPECT_EQ(what_, "the health command was ended by signal 9: kill -9 $$");
}

TEST_F(Trial, IsNotUndoneByTheFallBackInTheRunOfItsActivation) {
    open();
    upgradeTo("2.0.0");
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_TRUE(bootState().isOnTrial(node::Bank::b));
    bootInto(node::Bank::b);
}

} // namespace
