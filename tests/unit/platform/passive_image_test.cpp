// SPDX-License-Identifier: MIT
// Writing an image into the passive bank: all of it and read back, or not whole.
#include "faults.h"
#include "fixture.h"
#include "node/digest.h"
#include "platform/nal.h"
#include "tests/support/results.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

constexpr std::size_t kPayload = 700000; // several pieces, and not a whole number of them

class WritingAnImage : public OnANode {
  protected:
    WritingAnImage() {
        writeText(in("image"), imageOf(payloadOf(kPayload), "2.0.0"));
        runningBank_ = readText(in("bank_a"));
    }

    int write(const std::string &name = "image") {
        int result = 0;
        errors_ = errorsOf([&] { result = nal_writePassiveImage(in(name).c_str()); });
        return result;
    }

    // Refused before the bank changed: bytes, record and choice are as they were.
    void expectUntouched(const std::string &name, const std::string &complaint) {
        const std::string state = readText(statePath_);
        const std::string bank = readText(in("bank_b"));
        EXPECT_NE(write(name), 0);
        EXPECT_NE(errors_.find("error: nal: the passive bank was not written: "),
                  std::string::npos);
        EXPECT_NE(errors_.find(complaint), std::string::npos) << errors_;
        EXPECT_EQ(readText(statePath_), state);
        EXPECT_EQ(readText(in("bank_b")), bank);
    }

    void expectNotWhole() {
        const node::BootState state = bootState();
        EXPECT_FALSE(state.of(node::Bank::b).whole);
        EXPECT_EQ(node::bankToBoot(state), node::Bank::a);
        EXPECT_EQ(readText(in("bank_a")), runningBank_);
        EXPECT_EQ(std::filesystem::file_size(in("bank_b")), kBankSize);
        char version[NAL_VERSION_WIDTH] = "untouched";
        EXPECT_EQ(nal_getPrevSwVersion(version), NAL_NO_PREVIOUS_IMAGE);
        EXPECT_STREQ(version, "untouched");
    }

    /* Runs right after the bank was synced. Its place among the syncs is found out by a write. */
    void afterTheSyncOfTheBank(const std::function<void()> &action) {
        const std::string image = readText(in("image"));
        for (int n = 1;; ++n) {
            ASSERT_LT(n, 40);
            resetNode();
            bool isIt = false;
            faults::afterFileSync(n, [&] { isIt = readText(in("bank_b")).starts_with(image); });
            ASSERT_EQ(write(), 0) << errors_;
            if (isIt) {
                resetNode();
                faults::afterFileSync(n, action);
                return;
            }
        }
    }

    std::string runningBank_;
    std::string errors_;
};

TEST_F(WritingAnImage, StoresEveryByteAndRecordsIt) {
    open();
    ASSERT_EQ(write(), 0) << errors_;
    EXPECT_EQ(errors_.find("notice: nal: " + in("bank_b") + ": 2.0.0 was written and read back, "),
              0U)
        << errors_;
    EXPECT_EQ(errors_.find('\n'), errors_.size() - 1) << errors_;
    const std::string image = readText(in("image"));
    const std::string bank = readText(in("bank_b"));
    EXPECT_EQ(bank.substr(0, image.size()), image);
    EXPECT_EQ(bank.substr(image.size()), std::string(kBankSize - image.size(), '\xEE'));
    const node::BootState state = bootState();
    EXPECT_TRUE(state.of(node::Bank::b).whole);
    EXPECT_EQ(state.of(node::Bank::b).version, "2.0.0");
    EXPECT_EQ(state.of(node::Bank::b).size, image.size());
    EXPECT_EQ(state.of(node::Bank::b).sha256, node::sha256Of(image));
    EXPECT_EQ(state.next, node::Bank::a);
    EXPECT_EQ(readText(in("bank_a")), runningBank_);
    char version[NAL_VERSION_WIDTH] = "";
    EXPECT_EQ(nal_getPrevSwVersion(version), 0);
    EXPECT_STREQ(version, "2.0.0");
}

TEST_F(WritingAnImage, TakesAnImageThatFillsTheBankAndNoneThatIsAByteLarger) {
    open();
    const std::size_t trailer =
        imageOf(payloadOf(kBankSize - 1000), "3.0.0").size() - (kBankSize - 1000);
    writeText(in("full"), imageOf(payloadOf(kBankSize - trailer), "3.0.0"));
    ASSERT_EQ(std::filesystem::file_size(in("full")), kBankSize);
    EXPECT_EQ(write("full"), 0) << errors_;
    EXPECT_EQ(readText(in("bank_b")), readText(in("full")));
    writeText(in("larger"), imageOf(payloadOf(kBankSize - trailer + 1), "3.0.1"));
    expectUntouched("larger", "the image has 1048577 bytes, the bank " + in("bank_b") +
                                  " only 1048576; offer a smaller image");
}

TEST_F(WritingAnImage, RefusesWhatIsNoWholeImageForThisModelBeforeTheBankChanges) {
    open();
    installPassive("1.5.0");
    const std::string image = imageOf(payloadOf(kPayload), "2.0.0");
    writeText(in("cut"), image.substr(0, image.size() - 1));
    writeText(in("empty"), "");
    writeText(in("other"), imageOf(payloadOf(kPayload), "2.0.0", "GW-2000"));
    const std::string longest = imageOf(payloadOf(kPayload), std::string(30, '2'));
    std::string longer = longest;
    longer.insert(longer.rfind("version=") + 8, 1, '2');
    longer[longer.size() - 8] = static_cast<char>(longer[longer.size() - 8] + 1);
    writeText(in("longer"), longer);
    std::filesystem::create_directory(in("folder"));
    expectUntouched("longer", "its manifest has no usable version (1 to 30 of");
    expectUntouched("missing", "the image cannot be opened: No such file or directory");
    expectUntouched("cut", "it is cut or no image");
    expectUntouched("empty", "it is cut: there is no room for a manifest");
    expectUntouched("other", "the image is for model GW-2000, this node is a GW-1000");
    expectUntouched("folder", "is not a regular file");
    EXPECT_EQ(bootState().of(node::Bank::b).version, "1.5.0");
}

TEST_F(WritingAnImage, LeavesTheBankNotWholeWhereThePayloadHasAnotherDigest) {
    open();
    installPassive("1.5.0");
    std::string image = imageOf(payloadOf(kPayload), "2.0.0");
    image[kPayload - 1] = static_cast<char>(image[kPayload - 1] ^ 1);
    writeText(in("image"), image);
    EXPECT_NE(write(), 0);
    EXPECT_NE(errors_.find("its payload does not have the SHA-256 sum"), std::string::npos);
    expectNotWhole();
}

TEST_F(WritingAnImage, LeavesTheBankNotWholeWhicheverWriteOrSyncFails) {
    open();
    for (const faults::Call call : {faults::Call::write, faults::Call::fileSync}) {
        int failures = 0;
        for (int n = 1; n <= 12; ++n) { // more than there are
            resetNode();
            faults::failOnce(call, n, ENOSPC);
            const int result = write();
            faults::clear();
            if (result != 0) {
                ++failures;
                EXPECT_NE(errors_.find("No space left on device"), std::string::npos) << errors_;
                EXPECT_EQ(bootState().next, node::Bank::a);
                expectNotWhole();
            }
        }
        EXPECT_GT(failures, 3);
        EXPECT_TRUE(bootState().of(node::Bank::b).whole) << "the last fault came too late";
    }
}

// Storage that takes nothing more cannot take back the mark either, but it never lies.
TEST_F(WritingAnImage, RecordsNothingUntrueWhereStorageFailsForGood) {
    const std::string image = readText(in("image"));
    for (const faults::Call call : {faults::Call::write, faults::Call::fileSync}) {
        open();
        int result = -1;
        for (int n = 1; result != 0; ++n) {
            ASSERT_LT(n, 40);
            resetNode();
            faults::failFrom(call, n, EIO);
            result = write();
            faults::clear();
            const node::BootState state = bootState();
            EXPECT_EQ(state.next, node::Bank::a);
            EXPECT_EQ(node::bankToBoot(state), node::Bank::a);
            EXPECT_TRUE(!state.of(node::Bank::b).whole || readText(in("bank_b")).starts_with(image))
                << n;
        }
    }
}

TEST_F(WritingAnImage, FinishesShortWrites) {
    open();
    faults::shortenWrites(1000);
    EXPECT_EQ(write(), 0) << errors_;
}

TEST_F(WritingAnImage, StopsAtTheProcessLimitOfAFile) {
    open();
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    limit.rlim_cur = 400000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_NE(write(), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_NE(errors_.find("cannot be written: File too large"), std::string::npos) << errors_;
    expectNotWhole();
}

TEST_F(WritingAnImage, LeavesTheBankNotWholeOnAFullDisk) {
    const std::string disk = in("disk");
    std::filesystem::create_directory(disk);
    if (mount("none", disk.c_str(), "tmpfs", 0, "size=400k") != 0) {
        GTEST_SKIP() << "this machine does not let the test mount a small disk";
    }
    std::ofstream(disk + "/bank_b").close();
    std::filesystem::resize_file(disk + "/bank_b", kBankSize);
    writeText(configPath_, configWith("b", "b = " + disk + "/bank_b"));
    open();
    EXPECT_NE(write(), 0);
    umount2(disk.c_str(), MNT_DETACH);
    EXPECT_NE(errors_.find("cannot be written: No space left on device; check the space"),
              std::string::npos)
        << errors_;
    expectNotWhole();
}

TEST_F(WritingAnImage, LeavesTheBankNotWholeWhereItReadsBackDifferently) {
    open();
    afterTheSyncOfTheBank([this] { damagePassive(); });
    EXPECT_NE(write(), 0);
    EXPECT_NE(errors_.find("does not hold what was written; check the device"), std::string::npos)
        << errors_;
    expectNotWhole();
}

TEST_F(WritingAnImage, IsMarkedNotWholeBeforeTheFirstByteChanges) {
    open();
    installPassive("1.5.0");
    std::string bankWhenMarked;
    bool wholeWhenBankWasSynced = true;
    faults::afterFileSync(1, [&] { bankWhenMarked = readText(in("bank_b")); });
    const std::string before = readText(in("bank_b"));
    ASSERT_EQ(write(), 0);
    EXPECT_EQ(bankWhenMarked, before);
    afterTheSyncOfTheBank([&] { wholeWhenBankWasSynced = bootState().of(node::Bank::b).whole; });
    ASSERT_EQ(write(), 0);
    EXPECT_FALSE(wholeWhenBankWasSynced);
}

TEST_F(WritingAnImage, LeavesAnActivatedBankAlone) {
    open();
    installPassive("1.5.0");
    ASSERT_NE(nal_activatePassiveImage(), 0);
    writeText(in("next"), imageOf(payloadOf(kPayload), "2.0.0"));
    expectUntouched("next", "bank b was activated and boots next; reboot before another image");
}

TEST_F(WritingAnImage, DoesNotInheritAnOldChoiceOfABrokenBank) {
    node::BootState state = bootState();
    state.next = node::Bank::b; // chosen once, then found broken
    std::string whatIsWrong;
    ASSERT_TRUE(succeeds(node::writeBootState(statePath_, state), whatIsWrong)) << whatIsWrong;
    open();
    ASSERT_EQ(write(), 0) << errors_;
    EXPECT_TRUE(bootState().of(node::Bank::b).whole);
    EXPECT_EQ(node::bankToBoot(bootState()), node::Bank::a);
}

TEST_F(WritingAnImage, IsRefusedWithoutABootState) {
    open();
    writeText(statePath_, "[boot]\nactive=a\n");
    EXPECT_NE(write(), 0);
    EXPECT_NE(errors_.find(statePath_ + ": the boot state is cut"), std::string::npos) << errors_;
    EXPECT_EQ(readText(in("bank_b")), std::string(kBankSize, '\xEE'));
}

} // namespace
