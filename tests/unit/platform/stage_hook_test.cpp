// SPDX-License-Identifier: MIT
// Who follows the stages is told before a bank or the choice changes, and after the choice stands.
#include "faults.h"
#include "fixture.h"
#include "platform/nal.h"
#include "platform/stage_hook.h"

#include <cerrno>
#include <vector>

namespace {

struct Told {
    NalStage stage;
    bool passiveIsWhole;
    bool passiveIsChosen;

    bool operator==(const Told &) const = default;
};

std::vector<Told> told;
std::function<node::BootState()> stateNow;

class Stages : public OnANode {
  protected:
    Stages() {
        told.clear();
        stateNow = [this] { return bootState(); };
        nalOnStage([](NalStage stage) {
            const node::BootState state = stateNow();
            told.push_back({stage, state.of(node::Bank::b).whole, state.next == node::Bank::b});
        });
    }
    ~Stages() override { nalOnStage(nullptr); }
};

TEST_F(Stages, AreToldBeforeTheirWorkBegins) {
    open();
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    EXPECT_EQ(told, (std::vector<Told>{{NalStage::writing, false, false},
                                       {NalStage::emptied, false, false},
                                       {NalStage::activating, true, false},
                                       {NalStage::activated, true, true}}));
}

TEST_F(Stages, EndBeforeActivatedWhereTheActivationFails) {
    open();
    EXPECT_EQ(errorsOf([] { EXPECT_EQ(nal_activatePassiveImage(), 0); }).find("error: nal: "), 0U);
    installPassive("2.0.0");
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_NE(errorsOf([] { EXPECT_EQ(nal_activatePassiveImage(), 0); }), "");
    ASSERT_EQ(told.size(), 4U);
    EXPECT_EQ(told[0].stage, NalStage::activating);
    EXPECT_EQ(told[1].stage, NalStage::writing);
    EXPECT_EQ(told[2].stage, NalStage::emptied);
    EXPECT_EQ(told[3].stage, NalStage::activating);
}

} // namespace
