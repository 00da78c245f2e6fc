// SPDX-License-Identifier: MIT
// What the platform tells of the banks is the boot state.
#include "boot_state_fixture.h"
#include "node/bank_facts.h"

namespace {

class BankFacts : public BootStateFile {};

TEST_F(BankFacts, AreTheBootState) {
    const OtaBankFacts facts = node::factsOf(filled());
    EXPECT_EQ(facts.active, 1);
    EXPECT_EQ(facts.chosen, 0);
    EXPECT_EQ(facts.next, 0);
    EXPECT_EQ(facts.trial, 0);
    EXPECT_EQ(facts.healthy, 0);
    EXPECT_STREQ(facts.banks[0].version, "4QZ-2.0.1");
    EXPECT_EQ(facts.banks[0].whole, 1);
    EXPECT_EQ(facts.banks[0].attempts, 2);
    EXPECT_EQ(facts.banks[1].whole, 0);
    EXPECT_EQ(facts.banks[1].attempts, 7);
    ASSERT_EQ(facts.failedCount, 2);
    EXPECT_STREQ(facts.failed[1].version, "4QZ-1.8+x");
    EXPECT_EQ(facts.failed[1].trials, 12);
    EXPECT_EQ(facts.failed[1].last, OTA_FAILED_HEALTH);
}

TEST_F(BankFacts, TellTheBankThatBootsApartFromTheOneThatWasChosen) {
    node::BootState state = filled();
    state.of(node::Bank::a).whole = false;
    const OtaBankFacts facts = node::factsOf(state);
    EXPECT_EQ(facts.chosen, 0);
    EXPECT_EQ(facts.next, 1);
    EXPECT_EQ(node::factsOf(node::BootState()).trial, OTA_NO_BANK);
}

} // namespace
