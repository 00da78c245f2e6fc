// SPDX-License-Identifier: MIT
// The mark of an activation is there for the commit check, whatever a power cut left of it.
#include "trial_fixture.h"

#include <filesystem>
#include <optional>

namespace {

class AgentFiles : public Trial {};

// What a power cut may leave of the mark that the agent's shell wrote and nobody synced.
TEST_F(AgentFiles, HoldTheMarkOfAnActivationWhateverAPowerCutLeftOfIt) {
    for (const auto &left :
         {std::optional<std::string>(), std::optional<std::string>(""),
          std::optional(std::string(8, '\0')), std::optional<std::string>("4QZ-1.0\n")}) {
        std::filesystem::remove(in("ota_act_success"));
        if (left) {
            std::ofstream(in("ota_act_success")) << *left;
        }
        start(FAKE_AGENT, "--activated b:4QZ-2.0 --activated a:4QZ-2.0");
        ASSERT_EQ(next(), signalOf("initOTAlib", R"(".")"));
        send(R"({"ack":0})");
        expect({kNode, stage("committing")});
        EXPECT_EQ(textOf("ota_act_success"), "4QZ-2.0\n") << "before the trial";
        EXPECT_NE(errors().find("notice: ota-host: a power cut took the mark of 4QZ-2.0"),
                  std::string::npos);
        startOver();
    }
}

TEST_F(AgentFiles, HoldNoMarkOfWhatDidNotActivateTheBank) {
    const auto startsWith = [this](const std::string &options) {
        start(FAKE_AGENT, options);
        expect({signalOf("initOTAlib", R"(".")"), kNode});
        static_cast<void>(next());
        EXPECT_FALSE(std::filesystem::exists(in("ota_act_success"))) << options;
        startOver();
    };
    startsWith("");
    startsWith("--activated a:4QZ-1.0");                   // another version
    startsWith("--activated b:4QZ-2.0");                   // begun on the bank that runs
    startsWith("--no-commit-check --activated a:4QZ-2.0"); // not the first start of this boot
    node::BootState state = bootState();
    state.endTrial();
    keep(state);
    startsWith("--activated a:4QZ-2.0"); // committed: the word was said
}

TEST_F(AgentFiles, ThatCannotHoldTheMarkAreToldAndTheHostGoesOn) {
    std::filesystem::create_directory(in("ota_act_success"));
    start(FAKE_AGENT, "--activated a:4QZ-2.0");
    expectBegin();
    EXPECT_NE(errors().find("the mark of the activation was not made anew, so no commit is "
                            "reported: "),
              std::string::npos)
        << errors();
}

} // namespace
