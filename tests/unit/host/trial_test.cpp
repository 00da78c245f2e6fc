// SPDX-License-Identifier: MIT
// The trial of the running bank comes before the agent's start, and the commit behind its check.
#include "trial_fixture.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

TEST_F(Trial, ChecksTheHealthBeforeTheAgentAndCommitsBehindItsCommitCheck) {
    checkHealthWith("echo checked >> health");
    start();
    expectBegin();
    ASSERT_EQ(next(), stage("idle"));
    EXPECT_TRUE(std::filesystem::exists(in("health"))) << "the agent starts behind the check";
    expect({kTimer, signalOf("main", "\"0\"")});
    ASSERT_EQ(next(), signalOf("commit", "null"));
    EXPECT_TRUE(bootState().isOnTrial(Bank::b)) << "good only behind the commit check";
    send(R"({"ack":0})");
    expect({ofBankB("committed"), kDone});
    EXPECT_FALSE(bootState().trial);
    EXPECT_EQ(bootState().next, Bank::b);
    EXPECT_EQ(errors(), "notice: ota-host: bank b (4QZ-2.0) is on trial, 2 boot attempts left\n");
}

TEST_F(Trial, ThatFailsAsksForTheRebootAndNeverStartsTheAgent) {
    checkHealthWith("exit 3");
    start();
    expectBegin();
    const std::string failed = next();
    EXPECT_EQ(failed.find(R"({"note":"trial-failed","bank":"b","version":"4QZ-2.0","reason":)"
                          R"("the health command)"),
              0U)
        << failed;
    expect({stage("rebooting")});
    expectSilence();
    EXPECT_TRUE(std::filesystem::exists(in("reboot")));
    const node::BootState state = bootState();
    EXPECT_EQ(state.next, Bank::a);
    EXPECT_FALSE(state.trial);
    ASSERT_NE(node::failedVersion(state, kNew), nullptr);
    EXPECT_EQ(node::failedVersion(state, kNew)->last, node::TrialFailure::health);
    EXPECT_NE(errors().find("error: ota-host: bank b (4QZ-2.0) failed its trial: the health "),
              std::string::npos)
        << errors();
    closeChannel();
    EXPECT_EQ(exitCode(), 0) << "it waits no longer than its supervisor";
}

TEST_F(Trial, ThatFailedIsNotForgottenByAHostThatStartsBeforeTheReboot) {
    checkHealthWith("exit 3");
    start();
    expectBegin();
    EXPECT_NE(next().find("trial-failed"), std::string::npos);
    expect({stage("rebooting")});
    expectSilence();
    startOver();
    std::filesystem::remove(in("reboot"));
    start();
    expect({signalOf("initOTAlib", R"(".")"), kNode, stage("rebooting")});
    expectSilence();
    EXPECT_TRUE(std::filesystem::exists(in("reboot")));
    EXPECT_EQ(node::failedVersion(bootState(), kNew)->trials, 1);
}

TEST_F(Trial, ThatFailedLeavesTheNodeWhereTheOldBankIsDamaged) {
    node::BootState state = bootState();
    state.trial.reset();
    state.next = Bank::a;
    node::rememberFailure(state, kNew, node::TrialFailure::health);
    keep(state);
    std::ofstream(in("a")) << std::string(kBank, 'x');
    start();
    expect({signalOf("initOTAlib", R"(".")"), kNode});
    EXPECT_NE(next().find("trial-failed"), std::string::npos);
    expectAgentsStartWithoutCommit();
    expect({kDone});
    EXPECT_NE(errors().find("bank b (4QZ-2.0) failed its trial and goes on"), std::string::npos)
        << errors();
    EXPECT_FALSE(std::filesystem::exists(in("reboot")));
}

TEST_F(Trial, ThatPassedBeforeIsCommittedWithoutAskingAgain) {
    checkHealthWith("false");
    node::BootState state = bootState();
    state.healthy = true;
    keep(state);
    start();
    expectBegin();
    expect({stage("idle")});
    expectAgentsStart();
    expect({ofBankB("committed"), kDone});
    EXPECT_FALSE(bootState().trial);
}

TEST_F(Trial, WithoutItsConfigurationManagerFails) {
    checkHealthWith("true\nhealth_limit=1");
    std::filesystem::remove(in("cfgmgr_socket"));
    start();
    expectBegin();
    EXPECT_NE(next().find("which the configuration manager makes, was not there within 1 s"),
              std::string::npos);
    expect({stage("rebooting")});
    expectSilence();
    EXPECT_EQ(node::failedVersion(bootState(), kNew)->last, node::TrialFailure::health);
}

TEST_F(Trial, WithASocketOfAnotherUserFails) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to give the socket away";
    }
    constexpr uid_t kNobody = 65534;
    checkHealthWith("true\nhealth_limit=1");
    ASSERT_EQ(chown(in("cfgmgr_socket").c_str(), kNobody, kNobody), 0);
    start();
    expectBegin();
    const std::string failed = next();
    EXPECT_NE(failed.find("was not there within 1 s; what is there is not its socket: "),
              std::string::npos)
        << failed;
    EXPECT_NE(failed.find("cfgmgr_socket (owner 65534, mode 0600)"), std::string::npos) << failed;
    expect({stage("rebooting")});
    expectSilence();
}

TEST_F(Trial, ThatFailsWithNothingToFallBackToGoesOnWithoutACommit) {
    checkHealthWith("false");
    node::BootState state = bootState();
    state.of(Bank::a) = {};
    keep(state);
    start();
    expectBegin();
    EXPECT_NE(next().find("trial-failed"), std::string::npos);
    expect({stage("idle")});
    expectAgentsStartWithoutCommit();
    expect({kDone});
    EXPECT_TRUE(bootState().isOnTrial(Bank::b));
    EXPECT_FALSE(std::filesystem::exists(in("reboot")));
    EXPECT_NE(errors().find("bank a holds no whole image to fall back to"), std::string::npos)
        << errors();
}

TEST_F(Trial, WhoseAttemptsAreUsedUpIsToldByTheOldBank) {
    checkHealthWith("touch health");
    node::BootState state = bootState();
    state.active = Bank::a;
    state.attemptsOf(Bank::b) = 0;
    keep(state);
    start();
    expect({signalOf("initOTAlib", R"(".")"), kNode});
    const std::string failed = next();
    EXPECT_EQ(failed.find(R"({"note":"trial-failed","bank":"b","version":"4QZ-2.0","reason":)"), 0U)
        << failed;
    expectAgentsStart();
    expect({kDone});
    EXPECT_EQ(node::failedVersion(bootState(), kNew)->last, node::TrialFailure::boot);
    EXPECT_FALSE(std::filesystem::exists(in("health"))) << "the old bank is on no trial";
}

TEST_F(Trial, IsNobodysBusinessAtALaterStartInTheSameBoot) {
    checkHealthWith("touch health");
    start(FAKE_AGENT, "--no-commit-check");
    expect({signalOf("initOTAlib", R"(".")"), kNode, kTimer, signalOf("main", "\"0\""), kDone});
    EXPECT_TRUE(bootState().isOnTrial(Bank::b));
    EXPECT_FALSE(std::filesystem::exists(in("health")));
}

TEST_F(Trial, ThatCannotBeEndedIsToldAndEndedByACommitLater) {
    start();
    expectBegin();
    expect({stage("idle"), kTimer, signalOf("main", "\"0\"")});
    ASSERT_EQ(next(), signalOf("commit", "null"));
    std::filesystem::rename(in("boot_state"), in("away"));
    send(R"({"ack":0})");
    EXPECT_NE(next().find(R"({"note":"not-committed")"), std::string::npos);
    expect({kDone});
    EXPECT_NE(errors().find("was not marked good: "), std::string::npos) << errors();
    EXPECT_NE(errors().find("; otactl commit tries again\n"), std::string::npos) << errors();
    send(R"({"event":"commit"})");
    EXPECT_NE(next().find(R"({"done":"commit","deferred":0,"failed":"the running bank was not )"),
              std::string::npos);
    std::filesystem::rename(in("away"), in("boot_state"));
    send(R"({"event":"commit"})");
    expect({signalOf("commit", "null"), R"({"done":"commit","deferred":0})"});
    EXPECT_FALSE(bootState().trial);
    send(R"({"event":"commit"})");
    expect({R"({"done":"commit","deferred":0})"});
}

TEST_F(Trial, ThatCannotBeKeptAsPassedIsNotReportedAsCommitted) {
    start();
    expectBegin();
    expect({stage("idle"), kTimer});
    ASSERT_EQ(next(), signalOf("main", "\"0\""));
    std::filesystem::rename(in("boot_state"), in("away"));
    send(R"({"ack":0})");
    EXPECT_NE(next().find(R"({"note":"not-committed")"), std::string::npos);
    expect({kDone});
    std::filesystem::rename(in("away"), in("boot_state"));
    EXPECT_TRUE(bootState().isOnTrial(Bank::b));
    send(R"({"event":"commit"})");
    ASSERT_EQ(next(), signalOf("commit", "null")) << "the commit check that was left out";
    EXPECT_TRUE(bootState().healthy) << "kept before it is reported";
    EXPECT_TRUE(bootState().isOnTrial(Bank::b));
    send(R"({"ack":0})");
    expect({R"({"done":"commit","deferred":0})"});
    EXPECT_FALSE(bootState().trial);
}

TEST_F(Trial, ThatNobodyJudgedIsNotCommitted) {
    start(FAKE_AGENT, withAltered("beginTrial"));
    expect({signalOf("initOTAlib", R"(".")"), kNode});
    expectAgentsStartWithoutCommit();
    expect({kDone});
    EXPECT_TRUE(bootState().isOnTrial(Bank::b));
    EXPECT_NE(errors().find("the platform answers 7 to beginTrial"), std::string::npos) << errors();
}

TEST_F(Trial, OfAVersionIsForgottenWhereItIsAskedFor) {
    node::BootState state = bootState();
    node::rememberFailure(state, "4QZ-3.0", node::TrialFailure::boot);
    keep(state);
    start(FAKE_AGENT, "--no-commit-check");
    expect({signalOf("initOTAlib", R"(".")"), kNode, kTimer, signalOf("main", "\"0\""), kDone});
    send(R"({"event":"forget","version":"4QZ-3.0"})");
    expect({R"({"done":"forget","deferred":0})"});
    EXPECT_TRUE(bootState().failed.empty());
    send(R"({"event":"forget","version":"4QZ-3.0"})");
    expect({R"({"done":"forget","deferred":0,"failed":"the version was not forgotten: 4QZ-3.0 is )"
            R"(not remembered as a version that failed its trial"})"});
}

} // namespace
