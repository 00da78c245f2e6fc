// SPDX-License-Identifier: MIT
// Sentences on why nothing happens now and what will happen when.
#include "service/state/explain.h"

#include "tests/unit/service/state/kept_requests.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

using service::ExplainFacts;
using service::Ledger;
using service::NodeStatus;

constexpr std::time_t kTenToTen = 1'700'041'800; // 2023-11-15, 09:50 UTC

class AnExplanation : public testing::Test {
  protected:
    AnExplanation() {
        setenv("TZ", "UTC", 1);
        tzset();
        facts_.now = kTenToTen;
        facts_.plainHttpAllowed = true;
    }
    ~AnExplanation() override {
        unsetenv("TZ");
        tzset();
    }
    AnExplanation(const AnExplanation &) = delete;
    AnExplanation &operator=(const AnExplanation &) = delete;

    /* The sentences of the topic, one a line. */
    std::string of(const std::string &topic) const {
        std::string text;
        for (const auto &[about, sentence] : explainNode(status_, ledger_, facts_)) {
            if (about == topic) {
                text += (text.empty() ? "" : "\n") + sentence;
            }
        }
        return text;
    }
    void stand(const std::string &timer, std::uint32_t seconds) {
        ledger_.waiting = service::WaitingOffer{offer(3, 0), "a", false, false};
        status_.ticket = 3;
        status_.version = kNew;
        status_.timers = {{timer, seconds}};
    }
    void run(const std::string &stage) {
        ledger_.running = service::Running{offer(3, 0), 1, 0, "a", false};
        status_.ticket = 3;
        status_.version = kNew;
        status_.stage = stage;
    }

    NodeStatus status_;
    Ledger ledger_;
    ExplainFacts facts_;
};

TEST_F(AnExplanation, SaysThatNothingWasEverOffered) {
    EXPECT_EQ(of("now"), "The node is idle: nothing was ever offered to it.");
    EXPECT_EQ(explainNode(status_, ledger_, facts_).size(), 1U);
}

TEST_F(AnExplanation, SaysHowTheLastRequestEnded) {
    ledger_.nextTicket = 4;
    EXPECT_EQ(of("now"), "The node is idle: everything that was asked of it has ended.");
    status_.lastEnd = base::endOf(3, base::Outcome::flashWriteFailed,
                                  {"4QZ2: it is not signed", base::Reason::notSigned});
    EXPECT_EQ(of("now"),
              "The node is idle; the last request ended: ticket 3: the passive bank could "
              "not be written; the running one is untouched: 4QZ2: it is not signed (52 "
              "flashWriteFailed, not-signed).");
}

TEST_F(AnExplanation, SaysOfATriggerThatWasDoneNothingOfAnOffer) {
    status_.lastEnd = base::endOf(3, base::Outcome::done, {"the agent has the trigger"});
    EXPECT_EQ(of("now"), "The node is idle; the last request ended: ticket 3: it was done: the "
                         "agent has the trigger (0 done).");
}

TEST_F(AnExplanation, SaysWhyTheHostCannotStart) {
    facts_.agentStarted = false;
    facts_.hostCrashes = 2;
    facts_.restartInSeconds = 4;
    facts_.hostFailure = {"/state: is a directory", base::Reason::bootStateUnreadable};
    EXPECT_EQ(of("agent"), "The host process crashed 2 times in a row: /state: is a directory "
                           "(boot-state-unreadable); it is started again in 4 s.");
}

TEST_F(AnExplanation, SaysWhatIsBeingDownloadedAndHowFar) {
    run("downloading");
    status_.percentage = 42;
    status_.downloadedBytes = 1234567;
    EXPECT_EQ(of("now"),
              "Version 4QZ-2.0.0 (ticket 3) is being downloaded: 42 %, 1234567 bytes so far.");
}

TEST_F(AnExplanation, SaysWhatHappensInEachStage) {
    for (const char *const stage :
         {"verifying", "writing", "activating", "rebooting", "committing"}) {
        run(stage);
        EXPECT_EQ(of("now").rfind("Version 4QZ-2.0.0 (ticket 3) ", 0), 0U) << of("now");
    }
    run("writing");
    EXPECT_EQ(of("now"), "Version 4QZ-2.0.0 (ticket 3) is being written to the passive bank.");
    run("idle");
    EXPECT_EQ(of("now"), "The agent works on a request of the kind new-image: Version 4QZ-2.0.0 "
                         "(ticket 3).");
}

TEST_F(AnExplanation, SaysUntilWhenTheMobileAppIsAwaited) {
    stand("downloadStartTimer", 1800);
    EXPECT_EQ(of("now"), "Version 4QZ-2.0.0 (ticket 3) waits.");
    EXPECT_EQ(of("next"), "Version 4QZ-2.0.0 (ticket 3) waits for the mobile app until 10:20 (in "
                          "30 min); without its trigger the download starts then.");
}

TEST_F(AnExplanation, SaysTheWayOutOfAWindowThatIsUsedUp) {
    EXPECT_EQ(of("window"), "");
    ledger_.memory = memoryWith({{"g_dwldStartTimer", 1}});
    EXPECT_NE(of("window").find("otactl cancel ends it"), std::string::npos) << of("window");
    ledger_.timers = {armed("downloadRetryTimer", 120), armed("rebootTimer", 100)};
    EXPECT_NE(of("window"), "") << "these do not end it";
    ledger_.timers = {armed("downloadStartTimer", 1800)};
    EXPECT_EQ(of("window"), "") << "it is open";
    ledger_.memory =
        memoryWith({{"g_dwldStartTimer", 1}, {"g_firstTimeObardingWindowGivenPSNWBuildSame", 0}});
    ledger_.timers = {armed("rebootTimer", 1800)};
    EXPECT_EQ(of("window"), "") << "so is the one before a swap";
    ledger_.timers.clear();
    ledger_.queue = {expiryOf("rebootTimer")};
    EXPECT_EQ(of("window"), "") << "it is about to end";
    ledger_.memory = memoryWith({{"g_mobileTriggerExpire", 1}});
    EXPECT_NE(of("window").find("without --first-poll"), std::string::npos) << of("window");
}

TEST_F(AnExplanation, SaysWhenAnImageIsActivated) {
    stand("rebootTimer", 5 * 3600 + 12 * 60 + 5);
    EXPECT_EQ(of("next"), "Version 4QZ-2.0.0 (ticket 3) is in the passive bank; it is activated at "
                          "15:02 (in 5 h 12 min), and the node reboots.");
    ledger_.memory = memoryWith({{"g_firstTimeObardingWindowGivenPSNWBuildSame", 0}});
    EXPECT_EQ(of("next"), "Version 4QZ-2.0.0 (ticket 3) is in the passive bank; it is activated at "
                          "15:02 (in 5 h 12 min), unless the node is being onboarded then.");
}

TEST_F(AnExplanation, SaysWhenTheDownloadIsTriedAgain) {
    stand("downloadRetryTimer", 118);
    EXPECT_EQ(of("next"),
              "The last download attempt failed; the next one starts at 09:51 (in 118 s).");
}

TEST_F(AnExplanation, SaysThatATimerItDoesNotKnowRuns) {
    stand("otherTimer", 60);
    EXPECT_EQ(of("next"), "The timer otherTimer runs out at 09:51 (in 60 s).");
}

TEST_F(AnExplanation, SaysWhyAnOfferIsPutOffAndWhenItIsTakenUp) {
    stand("", 0);
    status_.timers.clear();
    status_.deferred = true;
    status_.workMode = "RGW";
    status_.onboarding = 1;
    EXPECT_EQ(of("now"), "Version 4QZ-2.0.0 (ticket 3) is put off: the node is being onboarded.");
    EXPECT_NE(of("next").find("when the onboarding ends"), std::string::npos) << of("next");
    status_.workMode = "AP_Bridge";
    status_.workRole = "Agent";
    EXPECT_EQ(of("now"),
              "Version 4QZ-2.0.0 (ticket 3) is put off: the node is no gateway now (work "
              "mode AP_Bridge, work role Agent).");
    EXPECT_NE(of("next").find("when the node is a gateway"), std::string::npos) << of("next");
    status_.banks = {{"a", kOld, true, true, true}, {"b", kNew, true, false, false}};
    EXPECT_NE(of("now").find("onboarded"), std::string::npos) << "any node activates";
}

TEST_F(AnExplanation, SaysThatAnActivatedImageWaitsForAReboot) {
    stand("", 0);
    status_.timers.clear();
    ledger_.waiting->activated = true;
    EXPECT_EQ(of("now"),
              "Version 4QZ-2.0.0 (ticket 3) is activated; it runs after the next reboot.");
}

TEST_F(AnExplanation, SaysWhatTheStartingAgentWaitsFor) {
    facts_.agentStarted = false;
    facts_.waitsForPath = "/run/cfgmgr.sock";
    EXPECT_EQ(of("now"), "Nothing can be done yet: the agent has not started.");
    EXPECT_EQ(of("agent"), "The agent waits until /run/cfgmgr.sock is there; start the "
                           "configuration manager that makes it.");
}

TEST_F(AnExplanation, SaysHowOftenTheHostCrashedAndWhenItStartsAgain) {
    facts_.hostCrashes = 1;
    EXPECT_EQ(of("agent"), "The host process crashed once and was started again.");
    facts_.hostCrashes = 4;
    facts_.restartInSeconds = 8;
    EXPECT_EQ(of("agent"),
              "The host process crashed 4 times in a row; it is started again in 8 s.");
}

TEST_F(AnExplanation, CountsTheQueue) {
    status_.queued = 1;
    EXPECT_EQ(of("queue"), "One request waits for its turn.");
    status_.queued = 3;
    EXPECT_EQ(of("queue"), "3 requests wait for their turn.");
}

TEST_F(AnExplanation, SaysWhichRoadsAreClosed) {
    facts_.busConnected = false;
    EXPECT_NE(of("bus").find("not connected"), std::string::npos);
    EXPECT_EQ(of("root"), "") << "no broker is configured";
    facts_.rootConfigured = true;
    EXPECT_NE(of("root").find("not connected"), std::string::npos);
    status_.rootConnected = true;
    EXPECT_EQ(of("root"), "");
    facts_.failedSaves = 2;
    EXPECT_EQ(of("disk"), "Requests could not be kept on disk 2 times; make room in the state "
                          "directory.");
}

TEST_F(AnExplanation, RemembersTheLastReportAndTheLastRefusal) {
    status_.statusWord = "OTA_CRC_CHECK_FAILED";
    facts_.lastRefusal = "url: plain http is forbidden";
    EXPECT_EQ(of("last"), "The last report of the agent is OTA_CRC_CHECK_FAILED.\n"
                          "The last refused request: url: plain http is forbidden");
}

TEST_F(AnExplanation, SaysThatPlainHttpIsForbidden) {
    EXPECT_EQ(of("rules"), "");
    facts_.plainHttpAllowed = false;
    EXPECT_EQ(of("rules"),
              "Offers with plain http are refused (allow_plain_http = no in [service]).");
}

} // namespace
