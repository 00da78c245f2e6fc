// SPDX-License-Identifier: MIT
// The check of the image's sum: how much is compared, and what stays where nothing is computed.
#include "install_fixture.h"

#include <cerrno>
#include <cstring>

using namespace ota::test;

namespace {

class Checksum : public InstallTest {
  protected:
    bool passes(const std::string &offered) {
        journal().clear();
        offerChecksum(offered);
        install();
        const bool written = wasWritten();
        EXPECT_EQ(lines(written ? "MD5 CRC check PASS" : "upgrade: MD5 CRC check failed").size(),
                  1U);
        EXPECT_ENTRIES(only(journal().actions(), {"evbus"}),
                       written ? Entries{} : entries(signal("OTA_CRC_CHECK_FAILED")));
        return written;
    }
};

TEST_F(Checksum, PassesForTheWholeSum) { EXPECT_TRUE(passes(kSum)); }

TEST_F(Checksum, PassesForABeginningOfTheSum) {
    EXPECT_TRUE(passes("5d41402a"));
    EXPECT_TRUE(passes("5"));
}

TEST_F(Checksum, PassesForNone) {
    EXPECT_TRUE(passes(""));
    EXPECT_ENTRIES(lines("Rcvd"),
                   entries(notice("upgrade", kUpgrade, "Rcvd MD5 checksum = , crc length is = 0")));
}

TEST_F(Checksum, FailsForAnotherSum) {
    EXPECT_FALSE(passes("6d41402abc4b2a76b9719d911017c592"));
    EXPECT_FALSE(passes("5d41402abc4b2a76b9719d911017c593"));
}

TEST_F(Checksum, FailsForTheSumInUpperCase) {
    EXPECT_FALSE(passes("5D41402ABC4B2A76B9719D911017C592"));
}

TEST_F(Checksum, FailsForMoreThanTheSum) {
    EXPECT_FALSE(passes(std::string(kSum) + "0"));
    EXPECT_FALSE(passes(std::string(kSum) + std::string(15, '0')));
}

TEST_F(Checksum, ComparesTheLineFeedWhereItIsOffered) {
    EXPECT_TRUE(passes(std::string(kSum) + "\n"));
}

TEST_F(Checksum, KeepsTheLineFeedOfTheSum) {
    install();
    EXPECT_EQ(AGENT_VAR(md5CRC), std::string(kSum) + "\n");
}

TEST_F(Checksum, KeepsALineOf47Characters) {
    shell().popenOutput = std::string(60, 'a') + "\n";
    std::memset(AGENT_VAR(md5CRC), 'x', sizeof AGENT_VAR(md5CRC));
    EXPECT_TRUE(passes(std::string(47, 'a')));
    EXPECT_EQ(AGENT_VAR(md5CRC), std::string(47, 'a'));
    EXPECT_ENTRIES(lines("Calculated"),
                   entries(notice("upgrade", kUpgrade,
                                  "Calculated md5 CRC value is = " + std::string(47, 'a') +
                                      ", length is = 47")));
}

TEST_F(Checksum, ReadsTheFirstLineOnly) {
    shell().popenOutput = "first\nsecond\n";
    install();
    EXPECT_STREQ(AGENT_VAR(md5CRC), "first\n");
}

TEST_F(Checksum, EndsTheSumInItsLastByteWhereALineWasRead) {
    std::memset(AGENT_VAR(md5CRC), 'x', sizeof AGENT_VAR(md5CRC));
    install();
    EXPECT_EQ(AGENT_VAR(md5CRC)[sizeof AGENT_VAR(md5CRC) - 1], '\0');
}

TEST_F(Checksum, StaysThatOfAnEarlierImageWhereTheCommandPrintsNothing) {
    install();
    shell().popenOutput.clear();
    EXPECT_TRUE(passes(kSum));
    EXPECT_EQ(AGENT_VAR(md5CRC), std::string(kSum) + "\n");
}

TEST_F(Checksum, StaysThatOfAnEarlierImageWhereTheCommandCannotBeRun) {
    install();
    journal().clear();
    shell().popenErrno = ENOMEM;
    journal().watchFiles();

    EXPECT_TRUE(passes(kSum));

    const std::string reason = "12 reason " + std::string(std::strerror(ENOMEM));
    EXPECT_EQ(installedBehind("popen md5sum ./4QZ-2.0 |awk '{print $1}' r").front(),
              error("upgrade", kUpgrade, "md5CRCCmd command popen failed " + reason));
    EXPECT_ENTRIES(only(journal().logs(), {"error", "debug upgrade: ota_read_MD5CRC"}),
                   bothErrors("upgrade", kUpgrade, "md5CRCCmd command popen failed " + reason,
                              "ota_read_MD5CRC:File open failed!failed " + reason));
    EXPECT_ENTRIES(only(journal().actions(), {"fclose", "pclose"}), Entries{});
}

TEST_F(Checksum, FailsWithoutAnEarlierImageWhereTheCommandCannotBeRun) {
    shell().popenErrno = EMFILE;
    EXPECT_FALSE(passes(kSum));
    EXPECT_TRUE(passes(""));
}

TEST_F(Checksum, ClosesTheCommandAsAFile) {
    journal().watchFiles();
    install();
    EXPECT_ENTRIES(only(journal().actions(), {"fclose", "pclose"}), entries("fclose popen"));
}

TEST_F(Checksum, IsComputedByTheRealCommand) {
    shell().runsCommands = true;
    shell().popenOutput = "not read";
    EXPECT_TRUE(passes(kSum));
    EXPECT_EQ(AGENT_VAR(md5CRC), std::string(kSum) + "\n");

    writeFile("4QZ-2.0", "hellO");
    EXPECT_FALSE(passes(kSum));
}

TEST_F(Checksum, IsMissedForOneReasonInBothLogs) {
    shell().popenErrno = ENOMEM;
    journal().onEntry = [](const std::string &text) {
        if (text.starts_with("error upgrade")) {
            errno = EPERM; // as a logger may leave it
        }
    };
    install();
    const std::string reason = "12 reason " + std::string(std::strerror(ENOMEM));
    EXPECT_ENTRIES(only(journal().debugLog(), {"debug upgrade: ota_read_MD5CRC"}),
                   entries(trace(kUpgrade, "ota_read_MD5CRC:File open failed!failed " + reason)));
}

} // namespace
