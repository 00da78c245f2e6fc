// SPDX-License-Identifier: MIT
// What the host tells of the banks is what its supervisor reads.
#include "boot_state_fixture.h"
#include "node/bank_note.h"

namespace {

class BankNote : public BootStateFile {};

TEST_F(BankNote, CarriesTheBootState) {
    ASSERT_TRUE(write(filled())) << wrong_;
    const base::Json note = node::bankNote(path_);
    const auto state = node::takeBankNote(note.get());
    ASSERT_TRUE(state) << state.error().text;
    EXPECT_EQ(state->active, filled().active);
    EXPECT_EQ(state->trial, filled().trial);
    EXPECT_EQ(state->attemptsLeft, filled().attemptsLeft);
    EXPECT_EQ(state->of(node::Bank::a).version, "4QZ-2.0.1");
    EXPECT_EQ(state->failed.size(), 2U);
}

TEST_F(BankNote, CarriesWhyThereIsNone) {
    const base::Json note = node::bankNote(path_);
    const auto state = node::takeBankNote(note.get());
    ASSERT_FALSE(state);
    EXPECT_EQ(state.error().text, node::readBootState(path_).error().text);
}

} // namespace
