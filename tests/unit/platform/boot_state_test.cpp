// SPDX-License-Identifier: MIT
// The boot state is read whole or not at all, and replaced in one step.
#include "platform/nal/boot_state.h"

#include "faults.h"
#include "fixture.h"
#include "platform/nal/digest.h"

#include <cerrno>
#include <filesystem>

namespace {

class BootStateFile : public InTemporaryDirectory {
  protected:
    ~BootStateFile() override { faults::clear(); }

    static nal::BootState filled() {
        nal::BootState state;
        state.active = nal::Bank::b;
        state.next = nal::Bank::a;
        state.of(nal::Bank::a) = {true, "4QZ-2.0.1", 5368709120, std::string(64, 'a')};
        state.of(nal::Bank::b) = {false, "", 0, ""};
        return state;
    }
    bool write(const nal::BootState &state) { return nal::writeBootState(path_, state, wrong_); }
    bool read(nal::BootState &state) { return nal::readBootState(path_, state, wrong_); }

    std::string path_ = in("state");
    std::string wrong_;
};

TEST_F(BootStateFile, GivesBackWhatWasWritten) {
    nal::BootState state;
    ASSERT_TRUE(write(filled())) << wrong_;
    ASSERT_TRUE(read(state)) << wrong_;
    EXPECT_EQ(state.active, nal::Bank::b);
    EXPECT_EQ(state.next, nal::Bank::a);
    EXPECT_TRUE(state.of(nal::Bank::a).whole);
    EXPECT_EQ(state.of(nal::Bank::a).version, "4QZ-2.0.1");
    EXPECT_EQ(state.of(nal::Bank::a).size, 5368709120U);
    EXPECT_EQ(state.of(nal::Bank::a).sha256, std::string(64, 'a'));
    EXPECT_FALSE(state.of(nal::Bank::b).whole);
}

TEST_F(BootStateFile, IsRefusedWhereverItIsCut) {
    ASSERT_TRUE(write(filled()));
    const std::string text = readText(path_);
    for (std::size_t size = 0; size < text.size(); ++size) {
        nal::BootState state;
        writeText(path_, text.substr(0, size));
        ASSERT_FALSE(read(state)) << size;
        ASSERT_NE(wrong_.find("the boot state is cut"), std::string::npos) << wrong_;
        ASSERT_EQ(wrong_.find(path_), 0U);
    }
}

TEST_F(BootStateFile, IsRefusedWhicheverByteIsDamaged) {
    ASSERT_TRUE(write(filled()));
    const std::string text = readText(path_);
    for (std::size_t at = 0; at < text.size(); ++at) {
        nal::BootState state;
        std::string damaged = text;
        damaged[at] = static_cast<char>(damaged[at] ^ 1);
        writeText(path_, damaged);
        ASSERT_FALSE(read(state)) << "byte " << at;
        ASSERT_EQ(wrong_.find('\n'), std::string::npos);
    }
}

TEST_F(BootStateFile, NamesTheLineOfAWrongValueUnderARightChecksum) {
    ASSERT_TRUE(write(filled()));
    std::string text = readText(path_);
    text.replace(text.find("next=a"), 6, "next=c");
    text.resize(text.find("checksum="));
    writeText(path_, text + "checksum=" + nal::sha256Of(text) + "\n");
    nal::BootState state;
    EXPECT_FALSE(read(state));
    EXPECT_EQ(wrong_.find(path_ + ":6: [boot] next: expected a or b"), 0U) << wrong_;
}

TEST_F(BootStateFile, TellsThatItIsMissing) {
    nal::BootState state;
    EXPECT_FALSE(read(state));
    EXPECT_EQ(wrong_.find(path_ + ": cannot be opened: No such file or directory; "), 0U) << wrong_;
}

TEST_F(BootStateFile, StandsAsItWasWhereReplacingItFails) {
    const std::pair<faults::Call, int> kinds[] = {
        {faults::Call::rename, EIO}, {faults::Call::fileSync, EIO}, {faults::Call::write, ENOSPC}};
    ASSERT_TRUE(write(filled()));
    const std::string before = readText(path_);
    for (const auto &[call, reason] : kinds) {
        faults::failFrom(call, 1, reason);
        EXPECT_FALSE(write(nal::BootState{}));
        EXPECT_EQ(wrong_.find(path_), 0U) << wrong_;
        EXPECT_EQ(readText(path_), before);
        EXPECT_FALSE(std::filesystem::exists(path_ + ".new"));
        faults::clear();
    }
}

TEST_F(BootStateFile, IsNotCalledStoredWhereItsDirectoryCannotBeSynced) {
    faults::failFrom(faults::Call::directorySync, 1, EIO);
    EXPECT_FALSE(write(filled()));
    EXPECT_NE(wrong_.find("its directory cannot be synced"), std::string::npos) << wrong_;
}

} // namespace
