// SPDX-License-Identifier: MIT
// A cancelled upgrade leaves the running bank to boot and no file that could be taken for work.
#include "faults.h"
#include "fixture.h"
#include "platform/abandon.h"
#include "platform/nal.h"
#include "tests/support/results.h"

#include <cerrno>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class Abandon : public OnANode {
  protected:
    Abandon() { open(); }

    void leaveFiles() {
        for (const char *name : {"tmp/4QZ-2.0", "tmp/4QZx", "tmp/ota_dwld_prog",
                                 "tmp/ota_agent_data", "logs/ota_act_success"}) {
            writeText(in(name), "x");
        }
        for (const char *name : {"tmp/other", "tmp/x4QZ", "tmp/otaMD5.txt", "logs/otaSwAgent.log",
                                 "logs/4QZ", "configs/4QZ"}) {
            writeText(in(name), "x");
        }
        std::filesystem::create_directory(in("tmp/4QZ-folder"));
    }

    bool isThere(const std::string &name) const { return std::filesystem::exists(in(name)); }

    void expectFilesGone() const {
        for (const char *name : {"tmp/4QZ-2.0", "tmp/4QZx", "tmp/ota_dwld_prog",
                                 "tmp/ota_agent_data", "logs/ota_act_success"}) {
            EXPECT_FALSE(isThere(name)) << name;
        }
        for (const char *name : {"tmp/other", "tmp/x4QZ", "tmp/otaMD5.txt", "logs/otaSwAgent.log",
                                 "logs/4QZ", "configs/4QZ", "tmp/4QZ-folder"}) {
            EXPECT_TRUE(isThere(name)) << name;
        }
    }

    std::string whatIsWrong_;
};

TEST_F(Abandon, TakesAnActivationBackAndKeepsTheImage) {
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    leaveFiles();
    EXPECT_TRUE(succeeds(nalAbandon(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_FALSE(bootState().trial);
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
    expectFilesGone();
    EXPECT_EQ(nal_fallBackToActiveImage(), 0);
    EXPECT_EQ(bootState().next, node::Bank::a);
}

TEST_F(Abandon, OfAHalfWrittenBankMarksNothingWhole) {
    node::BootState state = bootState();
    state.next = node::Bank::b;
    ASSERT_TRUE(succeeds(node::writeBootState(statePath_, state), whatIsWrong_));
    EXPECT_TRUE(succeeds(nalAbandon(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_FALSE(bootState().of(node::Bank::b).whole);
}

TEST_F(Abandon, WithNothingToTakeBackWritesNothing) {
    const std::string before = readText(statePath_);
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_TRUE(succeeds(nalAbandon(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_TRUE(succeeds(nalAbandon(), whatIsWrong_)) << "a second time, with the files gone";
    EXPECT_EQ(readText(statePath_), before);
}

TEST_F(Abandon, LeavesABankThatHasBootedAsTheRunningOne) {
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    node::BootState state;
    ASSERT_TRUE(boot(state)) << bootComplaint_;
    EXPECT_TRUE(succeeds(nalAbandon(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_EQ(bootState().active, node::Bank::b);
    EXPECT_EQ(bootState().next, node::Bank::b);
}

TEST_F(Abandon, ThatCannotStoreTheChoiceSaysSoAndRemovesTheFilesAllTheSame) {
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    leaveFiles();
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_FALSE(succeeds(nalAbandon(), whatIsWrong_));
    EXPECT_EQ(whatIsWrong_, statePath_ + ": the boot state cannot be written: Input/output error; "
                                         "check the file system or device that holds the boot "
                                         "state");
    EXPECT_EQ(bootState().next, node::Bank::b);
    expectFilesGone();
}

TEST_F(Abandon, ThatCannotRemoveAFileNamesItAndGoesOn) {
    leaveFiles();
    std::filesystem::remove(in("logs/ota_act_success"));
    std::filesystem::remove_all(in("logs"));
    writeText(in("logs"), "no directory");
    EXPECT_FALSE(succeeds(nalAbandon(), whatIsWrong_));
    EXPECT_EQ(whatIsWrong_,
              "logs/ota_act_success: cannot be removed: Not a directory; remove it by hand");
    EXPECT_FALSE(isThere("tmp/4QZ-2.0"));
    std::filesystem::remove_all(in("tmp"));
    std::filesystem::remove(in("logs"));
    EXPECT_FALSE(succeeds(nalAbandon(), whatIsWrong_));
    EXPECT_EQ(whatIsWrong_,
              "tmp: cannot be listed: No such file or directory; check the directory");
}

TEST_F(Abandon, OfImagesAloneLeavesEverythingElse) {
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    leaveFiles();
    EXPECT_TRUE(succeeds(nalDropImages(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_FALSE(isThere("tmp/4QZ-2.0"));
    EXPECT_FALSE(isThere("tmp/4QZx"));
    for (const char *name : {"tmp/4QZ-folder", "tmp/other", "tmp/x4QZ", "tmp/ota_dwld_prog",
                             "tmp/ota_agent_data", "logs/ota_act_success", "logs/4QZ"}) {
        EXPECT_TRUE(isThere(name)) << name;
    }
    EXPECT_EQ(bootState().next, node::Bank::b);
}

TEST_F(Abandon, GivesUpAnImageThatWaits) {
    installPassive("2.0.0");
    EXPECT_TRUE(succeeds(nalGiveUpPassive(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_FALSE(bootState().of(node::Bank::b).whole);
    EXPECT_TRUE(bootState().of(node::Bank::a).whole);
    const std::string before = readText(statePath_);
    EXPECT_TRUE(succeeds(nalGiveUpPassive(), whatIsWrong_)) << "a second time, with nothing left";
    EXPECT_EQ(readText(statePath_), before);
}

TEST_F(Abandon, SaysWhereAnImageCannotBeGivenUp) {
    installPassive("2.0.0");
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_FALSE(succeeds(nalGiveUpPassive(), whatIsWrong_));
    EXPECT_NE(whatIsWrong_.find("cannot be written"), std::string::npos) << whatIsWrong_;
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
}

TEST_F(Abandon, DoesNotGiveUpAnImageThatBootsNext) {
    installPassive("2.0.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    EXPECT_FALSE(succeeds(nalGiveUpPassive(), whatIsWrong_));
    EXPECT_EQ(whatIsWrong_, "bank b (2.0.0) is activated or on trial");
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
}

TEST_F(Abandon, CutByAPowerCutAtAnyStepLeavesABootStateThatCanBeRead) {
    for (int step = 1;; ++step) {
        resetNode();
        installPassive("2.0.0");
        ASSERT_NE(nal_activatePassiveImage(), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            faults::cutPowerAt(step);
            _exit(succeeds(nalAbandon(), whatIsWrong_) ? 0 : 1);
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
