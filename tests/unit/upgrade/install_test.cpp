// SPDX-License-Identifier: MIT
// An installation from its first line to its last, and the failures that end it early.
#include "install_fixture.h"
#include "moments.h"

using namespace ota::test;

namespace {

using Install = InstallTest;

constexpr char kStamp[] = "2024-03-05T10:00:00";

Entries starting() {
    return entries(trace("getCurrentTime", std::string("Current System Time = ") + kStamp),
                   notice("upgrade", "getCurrentTime",
                          std::string("getCurrentTime():LINE: Current System Time = ") + kStamp),
                   said(std::string("Sw Download Start Time = ") + kStamp));
}

Entries selecting() {
    return entries("opendir .", said("Sw Dir name is = 4QZ-2.0"), "closedir",
                   said("Image File to upgrade is = 4QZ-2.0"), "stat ./4QZ-2.0",
                   said("stat(): write SUCCESS"),
                   said("Image file Path and size before writing is = ./4QZ-2.0--5"));
}

Entries verifying() {
    const std::string sum = kSum;
    return entries(said("Rcvd MD5 checksum = " + sum + ", crc length is = 32"),
                   "popen md5sum ./4QZ-2.0 |awk '{print $1}' r", "fclose popen",
                   said("Calculated md5 CRC value is = " + sum + "\n, length is = 33"));
}

Entries writing() {
    return entries(said("MD5 CRC check PASS...go for Flash write"),
                   said("NAL_MAPPING_SWIMG_ID_0 1 filename ./4QZ-2.0 strlen 9 "
                        "NAL_SWDL_FLAG_FROM_WEB 3"),
                   "nal_writePassiveImage ./4QZ-2.0", "fflush all");
}

Entries fallingBack() { return {"nal_fallBackToActiveImage", "fflush all"}; }

TEST_F(Install, GoesItsWholeRoadToThePolicy) {
    journal().watchFiles();
    install();
    EXPECT_ENTRIES(journal().of({kUpgrade, "getCurrentTime"}),
                   entries(starting(), selecting(), verifying(), writing(),
                           said("OTAFlashWriteComplete"), said("swInfo.policy = 3"),
                           fallingBack()));
}

TEST_F(Install, AsksForTheTemporaryDirectoryOnceAndFirst) {
    install();
    EXPECT_EQ(journal().all().front(), "nal_getTmpDirectory");
    EXPECT_ENTRIES(only(journal().withoutLogs(), {"nal_getTmpDirectory"}),
                   entries("nal_getTmpDirectory"));
}

TEST_F(Install, EndsWithTheFallBackAfterAWrongChecksum) {
    offerChecksum("00");
    journal().watchFiles();
    install();
    EXPECT_ENTRIES(installedBehind(trace(kUpgrade, "Calculated md5 CRC value is = " +
                                                       std::string(kSum) + "\n, length is = 33")),
                   entries(said("upgrade: MD5 CRC check failed... no upgrade"),
                           signal("OTA_CRC_CHECK_FAILED"), fallingBack()));
    EXPECT_STREQ(AGENT_VAR(swUpgStat).status, "OTA_CRC_CHECK_FAILED");
}

TEST_F(Install, EndsWithTheFallBackAfterAFailedFlashWrite) {
    node().always["nal_writePassiveImage"] = -7;
    journal().watchFiles();
    install();
    EXPECT_ENTRIES(installedBehind("nal_writePassiveImage ./4QZ-2.0"),
                   entries("fflush all", erred(">>>>11nal_write_image faild! ret=-7\r\n"),
                           signal("OTA_SW_FLASH_WRITE_FAILED"), fallingBack()));
    EXPECT_STREQ(AGENT_VAR(swUpgStat).status, "OTA_SW_FLASH_WRITE_FAILED");
}

TEST_F(Install, TakesAPositiveWriteResultForAFailureToo) {
    node().always["nal_writePassiveImage"] = 1;
    install();
    EXPECT_ENTRIES(only(journal().actions(), {"evbus"}),
                   entries(signal("OTA_SW_FLASH_WRITE_FAILED")));
}

TEST_F(Install, DoesNotApplyThePolicyAfterAFailure) {
    AGENT_VAR(swInfo).policy = 1;
    offerChecksum("00");
    install();
    offerChecksum(kSum);
    node().always["nal_writePassiveImage"] = -1;
    install();
    EXPECT_ENTRIES(only(journal().actions(), {"nal_activate", "sleep", "system"}), Entries{});
    EXPECT_ENTRIES(lines("swInfo.policy"), Entries{});
}

TEST_F(Install, StampsItsStartAndRepeatsThatStampAtItsEnd) {
    install();
    EXPECT_STREQ(AGENT_VAR(start_dw_Time), kStamp);
    EXPECT_STREQ(AGENT_VAR(stop_dw_Time), kStamp);
    EXPECT_EQ(journal().logsOf({"getCurrentTime"}).size(), 2U) << "the clock is read once";
}

TEST_F(Install, OverwritesLongerStampsWhole) {
    setText(AGENT_VAR(start_dw_Time), std::string(63, 'x'));
    setText(AGENT_VAR(stop_dw_Time), std::string(63, 'x'));
    install();
    EXPECT_STREQ(AGENT_VAR(start_dw_Time), kStamp);
    EXPECT_STREQ(AGENT_VAR(stop_dw_Time), kStamp);
}

TEST_F(Install, KeepsTheLastStopStampAfterAFailure) {
    setText(AGENT_VAR(stop_dw_Time), "earlier");
    offerChecksum("00");
    install();
    node().always["nal_writePassiveImage"] = -1;
    offerChecksum(kSum);
    install();
    EXPECT_STREQ(AGENT_VAR(start_dw_Time), kStamp);
    EXPECT_STREQ(AGENT_VAR(stop_dw_Time), "earlier");
}

TEST_F(Install, LeavesTheImageFileWhereItIs) {
    install();
    EXPECT_EQ(contentOf("4QZ-2.0"), "hello");
    EXPECT_TRUE(files().open.empty());
}

TEST_F(Install, LooksAtNoResultOfTheFallBack) {
    node().always["nal_fallBackToActiveImage"] = -1;
    install();
    EXPECT_EQ(journal().of({kUpgrade}).back(), "nal_fallBackToActiveImage");
    EXPECT_ENTRIES(only(journal().platformLog(), {"error"}), Entries{});
}

TEST_F(Install, StampsItsStartBeforeTheImageIsChosenAndItsEndBeforeThePolicy) {
    setText(AGENT_VAR(stop_dw_Time), "earlier");
    Entries seen;
    const std::string beginning = notice("upgrade", kUpgrade, "");
    const std::string chosen = beginning + "Image File";
    const std::string written = beginning + "OTAFlashWriteComplete";
    const std::string policy = beginning + "swInfo.policy";
    noteAt(seen, {chosen, written, policy},
           [] { return std::string(AGENT_VAR(start_dw_Time)) + " " + AGENT_VAR(stop_dw_Time); });
    install();
    const std::string stamp = kStamp;
    EXPECT_ENTRIES(seen,
                   entries(chosen + ": " + stamp + " earlier", written + ": " + stamp + " earlier",
                           policy + ": " + stamp + " " + stamp));
}

} // namespace
