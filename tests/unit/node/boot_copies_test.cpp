// SPDX-License-Identifier: MIT
// Of two copies one is always whole: read as the newer, stored as both.
#include "boot_state_fixture.h"

#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace {

class BootCopies : public BootStateFile {};

TEST_F(BootCopies, IsReadFromTheNewerCopyAfterAChangeThatWasInterrupted) {
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

TEST_F(BootCopies, CountsItsChangesOverTheEndOfTheCounter) {
    for (int change = 0; change < 300; ++change) {
        node::BootState state = filled();
        state.attemptsOf(node::Bank::a) = change % 9;
        ASSERT_TRUE(write(state)) << wrong_;
        ASSERT_TRUE(read(state)) << wrong_;
        ASSERT_EQ(state.attemptsOf(node::Bank::a), change % 9);
        ASSERT_TRUE(findings_.none()) << "change " << change;
    }
}

TEST_F(BootCopies, IsRefusedWhereBothCopiesAreDamaged) {
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

TEST_F(BootCopies, IsRefusedWhereTheFileIsCut) {
    ASSERT_TRUE(write(filled()));
    std::filesystem::resize_file(path_, node::kEnvironmentCopy);
    node::BootState state;
    EXPECT_TRUE(read(state)) << "the first copy is whole: " << wrong_;
    EXPECT_EQ(findings_.damages.size(), 1U);
    std::filesystem::resize_file(path_, node::kEnvironmentCopy - 1);
    EXPECT_FALSE(read(state));
    EXPECT_EQ(wrong_.find(path_ + ": the boot state is cut"), 0U) << wrong_;
}

TEST_F(BootCopies, IsNotBelievedToBeAsLargeAsAnythingThatAFileSays) {
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

TEST_F(BootCopies, MayStandOnTwoDevicesThatAFileNames) {
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
