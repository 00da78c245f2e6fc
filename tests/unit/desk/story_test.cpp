// SPDX-License-Identifier: MIT
// What is told of an image's way, from stages, words and timers.
#include "desk/story.h"

#include "otaSwAgent/status_words.h"
#include "platform/timers.h"

#include <gtest/gtest.h>

namespace {

using desk::Story;

std::string told(const std::optional<desk::Tale> &tale) {
    return tale ? tale->step + ": " + tale->text : "nothing";
}

constexpr const char *kWritten = "written: into the passive bank, and read back";

TEST(Story, AStageThatBeginsTellsHowTheOneBeforeItWent) {
    Story story;
    EXPECT_EQ(told(story.stageBegan("downloading")), "nothing");
    EXPECT_EQ(told(story.stageBegan("verifying")),
              "downloaded: the image is in the temporary directory");
    EXPECT_EQ(told(story.stageBegan("writing")), "checked: the image's MD5 sum is the one offered");
    EXPECT_EQ(told(story.stageBegan("activating")), kWritten);
    EXPECT_EQ(told(story.stageBegan("rebooting")), "activated: the passive bank boots next");
}

TEST(Story, AnImageThatIsOnlyWrittenIsToldWithItsWordAndOnce) {
    Story story;
    story.stageBegan("writing");
    EXPECT_EQ(told(story.wordCame(OTA_STATUS_ACTIVATION_COMPLETE)), kWritten);
    EXPECT_EQ(told(story.wordCame(OTA_STATUS_ACTIVATION_COMPLETE)), "nothing");
    EXPECT_EQ(told(story.stageBegan("activating")), "nothing");
}

TEST(Story, AnImageThatWaitsForItsTimeIsToldWithTheTimerAndOnce) {
    Story story;
    story.stageBegan("writing");
    EXPECT_EQ(told(story.timerStarted(TIMER_DOWNLOAD_RETRY)), "nothing");
    EXPECT_EQ(told(story.timerStarted(TIMER_REBOOT)), kWritten);
    EXPECT_EQ(told(story.timerStarted(TIMER_REBOOT)), "nothing");
    EXPECT_EQ(told(story.stageBegan("activating")), "nothing");
    EXPECT_EQ(told(story.stageBegan("rebooting")), "activated: the passive bank boots next");
}

TEST(Story, ASwapWritesNothing) {
    Story story;
    EXPECT_EQ(told(story.wordCame(OTA_STATUS_SWAP_PASSIVE)), "nothing");
    EXPECT_EQ(told(story.stageBegan("activating")), "nothing");
}

TEST(Story, FailuresAreToldByTheirWords) {
    EXPECT_EQ(told(Story().wordCame(OTA_STATUS_CRC_CHECK_FAILED)),
              "checked: NOT: the image's MD5 sum is not the one offered");
    EXPECT_EQ(told(Story().wordCame(OTA_STATUS_FLASH_WRITE_FAILED)),
              "written: NOT: the passive bank did not take the image");
    EXPECT_EQ(told(Story().wordCame(OTA_STATUS_ACTIVATION_FAILED)),
              "activated: NOT: the passive bank is not fit to boot");
    EXPECT_EQ(told(Story().wordCame(OTA_STATUS_COMMIT_FAILED)),
              "commit: NOT: the running version is not the one that was offered");
    EXPECT_TRUE(Story().wordCame(OTA_STATUS_COMMIT_FAILED)->failed);
    EXPECT_FALSE(Story().wordCame(OTA_STATUS_COMMIT_COMPLETE)->failed);
}

} // namespace
