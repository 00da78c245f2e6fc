// SPDX-License-Identifier: MIT
// The outcome of an offer, from what was seen of the agent's call.
#include "service/call_observer.h"

#include "otaSwAgent/status_words.h"

#include <gtest/gtest.h>

namespace service {
namespace {

using base::Outcome;

struct Row {
    const char *name;
    CallObserver seen;
    Outcome outcome;
    bool ends;
};

const Row kRows[] = {
    {"the version runs already", {.lastWord = OTA_STATUS_NO_UPGRADE}, Outcome::notNeeded, true},
    {"the checksum is wrong",
     {.lastWord = OTA_STATUS_CRC_CHECK_FAILED},
     Outcome::checksumFailed,
     true},
    {"the bank does not take it",
     {.lastWord = OTA_STATUS_FLASH_WRITE_FAILED, .wrote = true},
     Outcome::flashWriteFailed,
     true},
    {"seven attempts failed", {.lastWord = OTA_STATUS_RECONNECT}, Outcome::downloadGaveUp, true},
    {"the activation failed with a word",
     {.lastWord = OTA_STATUS_ACTIVATION_FAILED, .activating = true},
     Outcome::activationFailed,
     true},
    {"the activation failed without a word",
     {.wrote = true, .activating = true},
     Outcome::activationFailed,
     false},
    {"written and left there",
     {.lastWord = OTA_STATUS_ACTIVATION_COMPLETE, .wrote = true},
     Outcome::writtenOnly,
     false},
    {"in the passive bank already, and left there",
     {.lastWord = OTA_STATUS_SWAP_PASSIVE},
     Outcome::writtenOnly,
     false},
    {"handed over to the gateway", {.handedOver = true}, Outcome::handedOver, false},
    {"could not be handed over",
     {.notHandedOver = {"no broker", base::Reason::rootNotReached}},
     Outcome::rootUnreachable,
     false},
    {"nothing was seen", {}, Outcome::interruptedNothingKnown, false},
    {"activated: the reboot decides",
     {.lastWord = OTA_STATUS_ACTIVATION_COMPLETE,
      .wrote = true,
      .activating = true,
      .activated = true},
     Outcome::writtenOnly,
     false},
};

TEST(CallObserver, gives_the_outcome_of_every_road) {
    for (const Row &row : kRows) {
        EXPECT_EQ(outcomeOfCall(row.seen), row.outcome) << row.name;
        EXPECT_EQ(endsTheRequest(row.seen), row.ends) << row.name;
    }
}

TEST(CallObserver, gives_the_cause_of_what_failed_and_of_nothing_else) {
    const base::Error seen{"the file server answered 404", base::Reason::fileNotFound, 7};
    const base::Error gaveUp = causeOfCall({.lastWord = OTA_STATUS_RECONNECT, .cause = seen});
    EXPECT_EQ(gaveUp.reason, base::Reason::fileNotFound);
    EXPECT_EQ(gaveUp.text, "attempt 7 of 7 failed: the file server answered 404");
    const base::Error written =
        causeOfCall({.lastWord = OTA_STATUS_ACTIVATION_COMPLETE, .wrote = true, .cause = seen});
    EXPECT_EQ(written.reason, base::Reason::none);
    EXPECT_EQ(written.text, OTA_STATUS_ACTIVATION_COMPLETE);
    EXPECT_EQ(causeOfCall({}).reason, base::Reason::noWord);
    EXPECT_EQ(causeOfCall({.lastWord = OTA_STATUS_CRC_CHECK_FAILED}).reason,
              base::Reason::checksumDiffers);
}

TEST(CallObserver, leaves_words_open_behind_which_the_road_goes_on) {
    EXPECT_FALSE(outcomeOfWord(OTA_STATUS_SWAP_PASSIVE));
    EXPECT_FALSE(outcomeOfWord(OTA_STATUS_ACTIVATION_COMPLETE));
    EXPECT_FALSE(outcomeOfWord(OTA_STATUS_ACTIVATION_REBOOT_COMPLETE));
    EXPECT_FALSE(outcomeOfWord(""));
    EXPECT_EQ(outcomeOfWord(OTA_STATUS_COMMIT_COMPLETE), Outcome::done);
    EXPECT_EQ(outcomeOfWord(OTA_STATUS_COMMIT_FAILED), Outcome::commitFailed);
}

} // namespace
} // namespace service
