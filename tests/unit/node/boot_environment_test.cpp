// SPDX-License-Identifier: MIT
// The environment is changed under its lock, whole or not at all, and the variables of others stay.
#include "base/file_io.h"
#include "boot_state_fixture.h"
#include "node/library_lock.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class BootEnvironment : public BootStateFile {};

TEST_F(BootEnvironment, LeavesTheVariablesOfOthersAlone) {
    ASSERT_TRUE(write(filled()));
    ASSERT_TRUE(succeeds(node::changeBootEnvironment(path_, {{"bootdelay", "2"}}), wrong_))
        << wrong_;
    node::BootState emptied;
    ASSERT_TRUE(write(emptied)) << wrong_;
    node::BootVariables variables;
    ASSERT_TRUE(took(node::readBootEnvironment(path_, nullptr), variables, wrong_)) << wrong_;
    EXPECT_EQ(variables["bootdelay"], "2");
    EXPECT_EQ(variables.count("ota_trial"), 0U);
    EXPECT_EQ(variables.count("ota_a_version"), 0U);
    EXPECT_EQ(variables.count("ota_failed"), 0U);
}

TEST_F(BootEnvironment, IsReadWhileAWriterHangsInTheMiddle) {
    ASSERT_TRUE(write(filled()));
    const base::UniqueFd lock(::open("/var/lock/fw_printenv.lock", O_RDWR | O_CREAT, 0600));
    if (!lock || flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        GTEST_SKIP() << "somebody writes, or the lock of the boot tools cannot be had here";
    }
    node::BootState state;
    EXPECT_TRUE(read(state)) << wrong_;
}

// The lock is the machine's: this one is held where nobody else sees it.
TEST_F(BootEnvironment, WhoseLockIsHeldIsNotWrittenForThatReason) {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/var/lock", "tmpfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "only root can have a /var/lock of its own";
    }
    ASSERT_TRUE(write(filled()));
    const base::UniqueFd lock(::open("/var/lock/fw_printenv.lock", O_RDWR | O_CREAT, 0600));
    ASSERT_EQ(flock(lock.get(), LOCK_EX | LOCK_NB), 0);
    EXPECT_FALSE(write(filled()));
    EXPECT_NE(wrong_.find(path_ + ": the boot state is in use: "), std::string::npos) << wrong_;
    EXPECT_EQ(reason_, base::Reason::bootStateLocked);
}

TEST_F(BootEnvironment, IsNotWrittenWhereItCannotBeLocked) {
    ASSERT_TRUE(write(node::BootState{})) << wrong_;
    const std::string before = readText(path_);
    faults::failFrom(faults::Call::lock, 1, ENOLCK);
    EXPECT_FALSE(write(filled()));
    EXPECT_EQ(wrong_.find(path_ + ": the boot state cannot be locked: " + node::kLibraryLock +
                          ": cannot be locked; keep it on a file system with locks: "),
              0U)
        << wrong_;
    EXPECT_EQ(reason_, base::Reason::bootStateLocked);
    EXPECT_EQ(readText(path_), before);
}

// The state on the device may be a good one: writing another over it is no advice.
TEST_F(BootEnvironment, ThatMayNotBeOpenedIsToldWithItsReasonAndLeftAlone) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can be another user for a while";
    }
    ASSERT_TRUE(write(filled()));
    writeText(in("fw_env.config"), path_ + " 0x0 0x2000\n" + path_ + " 0x2000 0x2000\n");
    ASSERT_EQ(chmod(path_.c_str(), 0600), 0);
    ASSERT_EQ(chmod(in("").c_str(), 0755), 0);
    node::BootPlace devices;
    devices.fwEnvConfig = in("fw_env.config");
    for (const node::BootPlace &place : {node::BootPlace(path_), devices}) {
        node::BootState state;
        std::string notWritten;
        ASSERT_EQ(seteuid(65534), 0);
        const bool isRead = took(node::readBootState(place), state, wrong_);
        const bool isWritten = succeeds(node::writeBootState(place, state), notWritten);
        ASSERT_EQ(seteuid(0), 0);
        EXPECT_FALSE(isRead);
        EXPECT_EQ(wrong_, path_ + ": the boot state cannot be read: Permission denied; let the "
                                  "service have it: its user, the mode, DeviceAllow= of its unit");
        EXPECT_FALSE(isWritten);
        EXPECT_EQ(
            notWritten.find(path_ + ": the boot state cannot be written: Permission denied; "), 0U)
            << notWritten;
    }
}

TEST_F(BootEnvironment, IsNotWaitedForWhereAPipeStandsInItsPlace) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    node::BootState state;
    const std::string expected =
        path_ + ": is neither a file nor a device; keep the boot state in one";
    EXPECT_FALSE(read(state));
    EXPECT_EQ(wrong_, expected);
    EXPECT_FALSE(write(filled()));
    EXPECT_EQ(wrong_.find(expected), 0U) << wrong_;
}

TEST_F(BootEnvironment, StandsAsItWasWhereItCannotBeWritten) {
    ASSERT_TRUE(write(filled()));
    faults::failFrom(faults::Call::write, 1, EIO);
    EXPECT_FALSE(write(node::BootState{}));
    EXPECT_EQ(wrong_.find(path_ + ": the boot state cannot be written: Input/output error"), 0U)
        << wrong_;
    faults::clear();
    node::BootState state;
    ASSERT_TRUE(read(state)) << wrong_;
    EXPECT_EQ(state.active, node::Bank::b);
    EXPECT_TRUE(findings_.none());
}

TEST_F(BootEnvironment, IsNotCalledStoredWhereItCannotBeSynced) {
    ASSERT_TRUE(write(filled()));
    faults::failFrom(faults::Call::fileSync, 1, EIO);
    EXPECT_FALSE(write(node::BootState{}));
    EXPECT_EQ(wrong_.find(path_ + ": the boot state cannot be synced: Input/output error"), 0U)
        << wrong_;
    faults::clear();
    node::BootState state;
    EXPECT_TRUE(read(state)) << "the second copy was left alone: " << wrong_;
}

TEST_F(BootEnvironment, IsNotMadeHalf) {
    for (const faults::Call call :
         {faults::Call::write, faults::Call::fileSync, faults::Call::rename}) {
        faults::failFrom(call, 1, ENOSPC);
        EXPECT_FALSE(succeeds(node::makeBootState(path_, filled()), wrong_));
        EXPECT_EQ(wrong_.find(path_), 0U) << wrong_;
        faults::clear();
        EXPECT_FALSE(std::filesystem::exists(path_));
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(in("")), {}), 0);
    }
}

} // namespace
