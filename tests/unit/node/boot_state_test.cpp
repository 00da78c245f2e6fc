// SPDX-License-Identifier: MIT
// The boot state is two copies, of which one is always whole: read as the newer, stored as both.
#include "node/boot_state.h"

#include "faults.h"
#include "fixture.h"
#include "node/boot_copies.h"
#include "node/library_lock.h"
#include "tests/support/results.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class BootStateFile : public InTemporaryDirectory {
  protected:
    ~BootStateFile() override { faults::clear(); }

    static node::BootState filled() {
        node::BootState state;
        state.active = node::Bank::b;
        state.next = node::Bank::a;
        state.trial = node::Bank::a;
        state.attemptsLeft = {2, 7};
        state.of(node::Bank::a) = {true, "4QZ-2.0.1", 5368709120, std::string(64, 'a')};
        state.failed = {{"4QZ-1.9", 1, node::TrialFailure::boot},
                        {"4QZ-1.8+x", 12, node::TrialFailure::health}};
        return state;
    }
    bool write(const node::BootState &state) {
        const auto written = node::writeBootState(path_, state);
        reason_ = written ? base::Reason::none : written.error().reason;
        return succeeds(written, wrong_);
    }
    bool read(node::BootState &state) {
        return took(node::readBootState(path_, &findings_), state, wrong_);
    }

    std::string path_ = in("state");
    std::string wrong_;
    base::Reason reason_ = base::Reason::none;
    node::BootFindings findings_;
};

TEST_F(BootStateFile, GivesBackWhatWasWritten) {
    node::BootState state;
    ASSERT_TRUE(write(filled())) << wrong_;
    ASSERT_TRUE(read(state)) << wrong_;
    EXPECT_EQ(state.active, node::Bank::b);
    EXPECT_EQ(state.next, node::Bank::a);
    EXPECT_TRUE(state.isOnTrial(node::Bank::a));
    EXPECT_EQ(state.attemptsOf(node::Bank::a), 2);
    EXPECT_EQ(state.attemptsOf(node::Bank::b), 7);
    EXPECT_TRUE(state.of(node::Bank::a).whole);
    EXPECT_EQ(state.of(node::Bank::a).version, "4QZ-2.0.1");
    EXPECT_EQ(state.of(node::Bank::a).size, 5368709120U);
    EXPECT_EQ(state.of(node::Bank::a).sha256, std::string(64, 'a'));
    EXPECT_FALSE(state.of(node::Bank::b).whole);
    ASSERT_EQ(state.failed.size(), 2U);
    EXPECT_EQ(state.failed[1].version, "4QZ-1.8+x");
    EXPECT_EQ(state.failed[1].trials, 12);
    EXPECT_EQ(state.failed[1].last, node::TrialFailure::health);
    EXPECT_TRUE(findings_.none());
}

TEST_F(BootStateFile, UsesTheNamesThatBootScriptsUse) {
    ASSERT_TRUE(write(filled())) << wrong_;
    node::BootVariables variables;
    ASSERT_TRUE(took(node::readBootEnvironment(path_, nullptr), variables, wrong_)) << wrong_;
    EXPECT_EQ(variables["BOOT_ORDER"], "A B");
    EXPECT_EQ(variables["BOOT_A_LEFT"], "2");
    EXPECT_EQ(variables["BOOT_B_LEFT"], "7");
    EXPECT_EQ(variables["ota_trial"], "a");
    EXPECT_EQ(variables["ota_active"], "b");
    EXPECT_EQ(variables.count("ota_b_version"), 0U);
}

TEST_F(BootStateFile, LeavesTheVariablesOfOthersAlone) {
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

TEST_F(BootStateFile, IsReadFromTheNewerCopyAfterAChangeThatWasInterrupted) {
    ASSERT_TRUE(write(node::BootState{}));
    const std::string before = readText(path_);
    ASSERT_TRUE(write(filled()));
    const std::string after = readText(path_);
    for (const bool firstIsOld : {true, false}) {
        const std::string &first = firstIsOld ? before : after;
        const std::string &second = firstIsOld ? after : before;
        writeText(path_,
                  first.substr(0, node::kEnvironmentCopy) + second.substr(node::kEnvironmentCopy));
        node::BootState state;
        ASSERT_TRUE(read(state)) << wrong_;
        EXPECT_EQ(state.active, node::Bank::b);
        EXPECT_TRUE(findings_.copiesDiffer);
    }
}

TEST_F(BootStateFile, CountsItsChangesOverTheEndOfTheCounter) {
    for (int change = 0; change < 300; ++change) {
        node::BootState state = filled();
        state.attemptsOf(node::Bank::a) = change % 9;
        ASSERT_TRUE(write(state)) << wrong_;
        ASSERT_TRUE(read(state)) << wrong_;
        ASSERT_EQ(state.attemptsOf(node::Bank::a), change % 9);
        ASSERT_TRUE(findings_.none()) << "change " << change;
    }
}

TEST_F(BootStateFile, IsRefusedWhereBothCopiesAreDamaged) {
    ASSERT_TRUE(write(filled()));
    std::string bytes = readText(path_);
    bytes[100] = static_cast<char>(bytes[100] ^ 1);
    bytes[node::kEnvironmentCopy + 100] =
        static_cast<char>(bytes[node::kEnvironmentCopy + 100] ^ 1);
    writeText(path_, bytes);
    node::BootState state;
    EXPECT_FALSE(read(state));
    EXPECT_EQ(wrong_, path_ + ": no copy of the boot state is whole; the node cannot tell its "
                              "banks apart: write the boot state anew (ota-boot-state init)");
}

TEST_F(BootStateFile, IsRefusedWhereTheFileIsCut) {
    ASSERT_TRUE(write(filled()));
    std::filesystem::resize_file(path_, node::kEnvironmentCopy);
    node::BootState state;
    EXPECT_TRUE(read(state)) << "the first copy is whole: " << wrong_;
    EXPECT_EQ(findings_.damages.size(), 1U);
    std::filesystem::resize_file(path_, node::kEnvironmentCopy - 1);
    EXPECT_FALSE(read(state));
    EXPECT_EQ(wrong_.find(path_ + ": the boot state is cut"), 0U) << wrong_;
}

TEST_F(BootStateFile, NamesTheVariableOfAWrongValue) {
    const std::pair<const char *, const char *> wrongs[] = {
        {"BOOT_ORDER", "A"},        {"BOOT_A_LEFT", "10"},      {"BOOT_B_LEFT", "x"},
        {"ota_active", "c"},        {"ota_trial", "1"},         {"ota_a_size", "-1"},
        {"ota_a_sha256", "beef"},   {"ota_a_version", ""},      {"ota_failed", "4QZ-1"},
        {"ota_failed", "x:0:boot"}, {"ota_failed", "x:1:other"}};
    for (const auto &[name, value] : wrongs) {
        ASSERT_TRUE(write(filled()));
        ASSERT_TRUE(succeeds(node::changeBootEnvironment(path_, {{name, value}}), wrong_))
            << wrong_;
        node::BootState state;
        EXPECT_FALSE(read(state)) << name;
        EXPECT_EQ(wrong_.find(path_ + ": " + name + " is "), 0U) << wrong_;
        EXPECT_NE(wrong_.find(": expected "), std::string::npos) << wrong_;
        EXPECT_EQ(wrong_.find('\n'), std::string::npos);
        std::filesystem::remove(path_);
    }
}

TEST_F(BootStateFile, IsReadWhileAWriterHangsInTheMiddle) {
    ASSERT_TRUE(write(filled()));
    const base::UniqueFd lock(::open("/var/lock/fw_printenv.lock", O_RDWR | O_CREAT, 0600));
    if (!lock || flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        GTEST_SKIP() << "somebody writes, or the lock of the boot tools cannot be had here";
    }
    node::BootState state;
    EXPECT_TRUE(read(state)) << wrong_;
}

// The lock is the machine's: this one is held where nobody else sees it.
TEST_F(BootStateFile, WhoseLockIsHeldIsNotWrittenForThatReason) {
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

TEST_F(BootStateFile, IsNotWrittenWhereItCannotBeLocked) {
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

TEST_F(BootStateFile, TellsThatItIsMissing) {
    node::BootState state;
    EXPECT_FALSE(read(state));
    EXPECT_EQ(wrong_.find(path_ + ": the boot state cannot be read: No such file or directory; "),
              0U)
        << wrong_;
}

// The state on the device may be a good one: writing another over it is no advice.
TEST_F(BootStateFile, ThatMayNotBeOpenedIsToldWithItsReasonAndLeftAlone) {
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

TEST_F(BootStateFile, IsNotWaitedForWhereAPipeStandsInItsPlace) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    node::BootState state;
    const std::string expected =
        path_ + ": is neither a file nor a device; keep the boot state in one";
    EXPECT_FALSE(read(state));
    EXPECT_EQ(wrong_, expected);
    EXPECT_FALSE(write(filled()));
    EXPECT_EQ(wrong_.find(expected), 0U) << wrong_;
}

TEST_F(BootStateFile, IsNotBelievedToBeAsLargeAsAnythingThatAFileSays) {
    ASSERT_TRUE(write(filled()));
    node::BootPlace place;
    place.fwEnvConfig = in("fw_env.config");
    for (const char *const size : {"0", "5", "-1", "100001", "0x7fffffffffffffff", "x"}) {
        writeText(place.fwEnvConfig, path_ + " 0x0 " + size + "\n" + path_ + " 0x2000 0x2000\n");
        node::BootState state;
        EXPECT_FALSE(took(node::readBootState(place), state, wrong_)) << size;
        EXPECT_EQ(wrong_, place.fwEnvConfig + ": \"" + path_ + " 0x0 " + size +
                              "\": the size is not between 6 bytes and 1048576 (0x100000)");
        EXPECT_FALSE(succeeds(node::writeBootState(place, filled()), wrong_)) << size;
    }
}

TEST_F(BootStateFile, StandsAsItWasWhereItCannotBeWritten) {
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

TEST_F(BootStateFile, IsNotCalledStoredWhereItCannotBeSynced) {
    ASSERT_TRUE(write(filled()));
    faults::failFrom(faults::Call::fileSync, 1, EIO);
    EXPECT_FALSE(write(node::BootState{}));
    EXPECT_EQ(wrong_.find(path_ + ": the boot state cannot be synced: Input/output error"), 0U)
        << wrong_;
    faults::clear();
    node::BootState state;
    EXPECT_TRUE(read(state)) << "the second copy was left alone: " << wrong_;
}

TEST_F(BootStateFile, IsNotMadeHalf) {
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

TEST_F(BootStateFile, MayStandOnTwoDevicesThatAFileNames) {
    writeText(in("one"), std::string(0x5000, '\xFF'));
    writeText(in("two"), std::string(0x4000, '\xFF'));
    writeText(in("fw_env.config"), "# device offset size\n" + in("one") + " 0x1000 0x4000\n" +
                                       in("two") + " 0x0 0x4000\n");
    node::BootPlace place;
    place.fwEnvConfig = in("fw_env.config");
    node::BootState state;
    EXPECT_FALSE(took(node::readBootState(place), state, wrong_));
    EXPECT_EQ(wrong_.find(in("fw_env.config") + ": no copy of the boot state is whole"), 0U);
    EXPECT_FALSE(succeeds(node::writeBootState(place, filled()), wrong_))
        << "a change needs what it changes";
    ASSERT_TRUE(succeeds(node::makeBootState(place, filled()), wrong_)) << wrong_;
    ASSERT_TRUE(took(node::readBootState(place, &findings_), state, wrong_)) << wrong_;
    EXPECT_EQ(state.active, node::Bank::b);
    EXPECT_TRUE(findings_.none());
    EXPECT_EQ(readText(in("one")).substr(0, 0x1000), std::string(0x1000, '\xFF'));
    std::string damaged = readText(in("two"));
    damaged[50] = static_cast<char>(damaged[50] ^ 1);
    writeText(in("two"), damaged);
    ASSERT_TRUE(took(node::readBootState(place, &findings_), state, wrong_)) << wrong_;
    ASSERT_EQ(findings_.damages.size(), 1U);
    EXPECT_EQ(findings_.damages[0], "the copy of the boot state in " + in("two") +
                                        " at byte 0 is damaged, its checksum does not hold");
}

TEST_F(BootStateFile, BelievesTheKernelAboutTheRunningBank) {
    ASSERT_TRUE(write(filled()));
    node::BootPlace place(path_);
    place.kernelCommandLine = in("cmdline");
    node::BootState state;
    writeText(in("cmdline"), "console=ttyS0 ota.bank=a quiet\n");
    ASSERT_TRUE(took(node::readBootState(place), state, wrong_)) << wrong_;
    EXPECT_EQ(state.active, node::Bank::a);
    writeText(in("cmdline"), "console=ttyS0 xota.bank=a ota.bank=c\n");
    EXPECT_FALSE(took(node::readBootState(place), state, wrong_));
    EXPECT_EQ(wrong_.find(in("cmdline") + ": does not name the running bank"), 0U) << wrong_;
}

TEST(FailedVersions, AreCountedRefusedAndForgotten) {
    node::BootState state;
    node::rememberFailure(state, "4QZ1", node::TrialFailure::boot);
    EXPECT_TRUE(node::isRefused(state, "4QZ1", 1));
    EXPECT_FALSE(node::isRefused(state, "4QZ1", 2));
    EXPECT_FALSE(node::isRefused(state, "4QZ1", 0)) << "0 refuses none";
    EXPECT_FALSE(node::isRefused(state, "4QZ", 1));
    node::rememberFailure(state, "4QZ2", node::TrialFailure::boot);
    node::rememberFailure(state, "4QZ1", node::TrialFailure::health);
    EXPECT_TRUE(node::isRefused(state, "4QZ1", 2));
    ASSERT_EQ(state.failed.size(), 2U);
    EXPECT_EQ(state.failed.back().version, "4QZ1");
    EXPECT_EQ(state.failed.back().last, node::TrialFailure::health);
    EXPECT_TRUE(node::forgetFailure(state, "4QZ1"));
    EXPECT_FALSE(node::forgetFailure(state, "4QZ1"));
    EXPECT_EQ(node::failedVersion(state, "4QZ1"), nullptr);
    for (int i = 0; i < 20; ++i) {
        node::rememberFailure(state, "v" + std::to_string(i), node::TrialFailure::boot);
    }
    EXPECT_EQ(state.failed.size(), node::kMaxFailed);
    EXPECT_EQ(state.failed.back().version, "v19");
    EXPECT_EQ(node::failedVersion(state, "4QZ2"), nullptr) << "the oldest goes first";
}

TEST_F(BootStateFile, HoldsAsManyFailedVersionsAsAreRemembered) {
    node::BootState state = filled();
    for (std::size_t i = 0; i < node::kMaxFailed; ++i) {
        node::rememberFailure(state, std::string(29, 'v') + std::to_string(10 + i),
                              node::TrialFailure::health);
    }
    ASSERT_TRUE(write(state)) << wrong_;
    ASSERT_TRUE(read(state)) << wrong_;
    EXPECT_EQ(state.failed.size(), node::kMaxFailed);
}

class DamagedBootState : public OnANode {
  protected:
    static void flip(int file, off_t at) {
        char byte = 0;
        ASSERT_EQ(pread(file, &byte, 1, at), 1);
        byte = static_cast<char>(byte ^ 0xFF);
        ASSERT_EQ(pwrite(file, &byte, 1, at), 1);
    }
};

TEST_F(DamagedBootState, InAnyByteOfEitherCopyStillBootsAndSaysWhatItFound) {
    const int file = ::open(statePath_.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(file, 0);
    for (off_t at = 0; at < static_cast<off_t>(2 * node::kEnvironmentCopy); ++at) {
        flip(file, at);
        node::BootState state;
        ASSERT_TRUE(boot(state)) << "byte " << at << ": " << bootComplaint_;
        ASSERT_EQ(state.active, node::Bank::a);
        ASSERT_EQ(state.of(node::Bank::a).version, "1.0.0");
        ASSERT_NE(passedOver_.find("of the boot state in " + statePath_), std::string::npos)
            << "byte " << at;
        ASSERT_NE(passedOver_.find("is damaged"), std::string::npos);
        flip(file, at);
    }
    close(file);
}

TEST_F(DamagedBootState, IsWrittenAnewWhenTheNodeIsOpenedAndThatIsSaid) {
    const std::string good = readText(statePath_);
    std::string bytes = good;
    bytes[77] = static_cast<char>(bytes[77] ^ 4);
    writeText(statePath_, bytes);
    const std::string said = errorsOf([&] { open(); });
    EXPECT_NE(said.find("the copy of the boot state in " + statePath_ +
                        " at byte 0 is damaged, its checksum does not hold; the other copy holds, "
                        "it was written anew"),
              std::string::npos)
        << said;
    node::BootFindings findings;
    node::BootState state;
    std::string wrong;
    ASSERT_TRUE(took(node::readBootState(statePath_, &findings), state, wrong));
    EXPECT_TRUE(findings.none());
    const std::string mended = readText(statePath_);
    EXPECT_EQ(errorsOf([&] { open(); }), "");
    EXPECT_EQ(readText(statePath_), mended) << "nothing more to mend, nothing written";
}

} // namespace
