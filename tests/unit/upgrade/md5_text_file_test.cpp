// SPDX-License-Identifier: MIT
// The expected sum that a host leaves in a text file.
#include "agent_test.h"

#include <algorithm>
#include <cstring>
#include <iterator>

using namespace ota::test;

namespace {

constexpr char kRead[] = "ota_read_MD5CRC";
constexpr char kRemoval[] = "system rm /tmp/otaMD5.txt";

class Md5TextFile : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        std::memset(AGENT_VAR(md5CRC), 'x', sizeof AGENT_VAR(md5CRC));
        journal().watchFiles();
    }

    static bool isZeroed() {
        return std::all_of(std::begin(AGENT_VAR(md5CRC)), std::end(AGENT_VAR(md5CRC)),
                           [](char character) { return character == '\0'; });
    }
};

TEST_F(Md5TextFile, GivesItsFirstLineAndIsRemovedByAFixedName) {
    writeFile("otaMD5.txt", "5d41402abc4b2a76b9719d911017c592\nsecond\n");
    AGENT(ota_read_MD5CRC)();
    EXPECT_STREQ(AGENT_VAR(md5CRC), "5d41402abc4b2a76b9719d911017c592\n");
    EXPECT_ENTRIES(
        journal().all(),
        entries("fopen ./otaMD5.txt r",
                both("upgrade", kRead, "MD5 CRC extracted is = 5d41402abc4b2a76b9719d911017c592\n"),
                "fclose ./otaMD5.txt", kRemoval));
}

TEST_F(Md5TextFile, IsMissed) {
    EXPECT_EQ(AGENT(ota_read_MD5CRC)(), 0);
    EXPECT_ENTRIES(journal().all(),
                   entries("fopen ./otaMD5.txt r",
                           bothErrors("upgrade", kRead, "ota_read_MD5CRC:File open failed!")));
    EXPECT_TRUE(isZeroed());
}

TEST_F(Md5TextFile, LeavesNoSumWhereItIsEmpty) {
    writeFile("otaMD5.txt", "");
    AGENT(ota_read_MD5CRC)();
    EXPECT_ENTRIES(journal().all(),
                   entries("fopen ./otaMD5.txt r", "fclose ./otaMD5.txt", kRemoval));
    EXPECT_TRUE(isZeroed());
}

TEST_F(Md5TextFile, IsReadUpTo47Characters) {
    writeFile("otaMD5.txt", std::string(60, 'a'));
    AGENT(ota_read_MD5CRC)();
    EXPECT_EQ(AGENT_VAR(md5CRC), std::string(47, 'a'));
    EXPECT_ENTRIES(journal().logs(),
                   both("upgrade", kRead, "MD5 CRC extracted is = " + std::string(47, 'a')));
}

TEST_F(Md5TextFile, TakesTheRemovalsResultForItsOwn) {
    writeFile("otaMD5.txt", "sum");
    node().always["system"] = 256;
    EXPECT_EQ(AGENT(ota_read_MD5CRC)(), 256);
}

TEST_F(Md5TextFile, IsReadFromThePathTable) {
    setText(AGENT_VAR(g_otamd5txt), "elsewhere");
    writeFile("elsewhere", "sum");
    AGENT(ota_read_MD5CRC)();
    EXPECT_STREQ(AGENT_VAR(md5CRC), "sum");
    EXPECT_EQ(journal().actions().back(), kRemoval);
}

TEST_F(Md5TextFile, IsLeftAloneByTheReaderItself) {
    writeFile("otaMD5.txt", "sum");
    AGENT(ota_read_MD5CRC)();
    EXPECT_TRUE(exists("otaMD5.txt"));
}

} // namespace
