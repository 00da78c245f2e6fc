// SPDX-License-Identifier: MIT
// A series of failed downloads, from the offer to the end of the budget or to a success.
#include "roads.h"

using namespace ota::test;

namespace {

using RetryStories = StoryTest;

void offer() { announce({}); }

// How attempts end from here on.
void everyTransferBreaks() {
    curl().perform = [](Transfer &) { return CURLE_COULDNT_CONNECT; };
}
void everyAnswerIs404() { curl().responseCode = 404; }
void attemptsWork() {
    curl().perform = nullptr;
    curl().responseCode = 200;
    downloadsHaveTheRightSum();
}

// The events of a series: the offer, then so many expiries.
std::vector<std::function<void()>> series(int expiries, std::function<void()> last = {}) {
    std::vector<std::function<void()>> events{offer};
    for (int expiry = 0; expiry < expiries; ++expiry) {
        events.emplace_back(downloadRetryTimerExpires);
    }
    if (last) {
        events.push_back(std::move(last));
    }
    return events;
}

// One failed attempt that is to be repeated, after a broken transfer or by the code it got.
Entries broken(const char *retry) {
    return entries(transfer(), "curl_easy_getinfo CURLINFO_OS_ERRNO", retry, transferEnds(),
                   kMarkFailure);
}
Entries answered(const char *retry) {
    return entries(transfer(), "curl_easy_getinfo CURLINFO_RESPONSE_CODE", retry, transferEnds(),
                   kMarkFailure);
}

template <class Attempt>
Entries sixFailures(Attempt attempt, const char *firstRetry) {
    Entries all = attempt(firstRetry);
    for (int retry = 2; retry <= 6; ++retry) {
        append(all, attempt(kRetryIn2Minutes));
    }
    return all;
}

// The attempt that exhausts the budget; behind an answer the handle is left as it is.
const Entries kLastBroken = entries(transfer(), "curl_easy_getinfo CURLINFO_OS_ERRNO",
                                    signal("OTA_RECONNECT_BUE"), transferEnds());
const Entries kLastAnswered =
    entries(transfer(), "curl_easy_getinfo CURLINFO_RESPONSE_CODE", signal("OTA_RECONNECT_BUE"));

Node ofUnknownMode() {
    Node node;
    node.workMode = "Repeater";
    return node;
}

void expectNoRetry() { EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 0); }
void expectRetry() { EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 1); }

TEST_P(RetryStories, Holds) { play(); }

INSTANTIATE_TEST_SUITE_P(
    ToTheEnd, RetryStories,
    testing::Values(
        Story{"OfBrokenTransfersOnAGateway", Node{}, everyTransferBreaks, series(6, expectNoRetry),
              entries(sixFailures(broken, kRetryIn30Minutes), kLastBroken)},
        Story{"OfRefusedRequestsOnAGateway", Node{}, everyAnswerIs404, series(6, expectNoRetry),
              entries(sixFailures(answered, kRetryIn30Minutes), kLastAnswered)},
        Story{"OfBrokenTransfersOnAnExtender", extender(), everyTransferBreaks, series(6),
              entries(sixFailures(broken, kRetryIn2Minutes), transfer(),
                      "curl_easy_getinfo CURLINFO_OS_ERRNO", signal("OTA_RECONNECT_BUE"),
                      kForwarded, transferEnds())},
        Story{"OfRefusedRequestsOnAnExtender", extender(), everyAnswerIs404, series(6),
              entries(sixFailures(answered, kRetryIn2Minutes), kLastAnswered, kForwarded)},
        Story{"AndTheNextOfferBeginsANewOne", Node{}, everyTransferBreaks, series(6, offer),
              entries(sixFailures(broken, kRetryIn30Minutes), kLastBroken,
                      broken(kRetryIn30Minutes))}),
    storyName);

INSTANTIATE_TEST_SUITE_P(
    Interrupted, RetryStories,
    testing::Values(
        Story{"ByASuccessThatIsInstalled",
              Node{},
              everyTransferBreaks,
              {offer, downloadRetryTimerExpires, attemptsWork, downloadRetryTimerExpires,
               expectNoRetry},
              entries(broken(kRetryIn30Minutes), broken(kRetryIn2Minutes), downloadedAndWritten(),
                      rebootScheduled(63000))},
        Story{"ByASuccessSoThatTheNextFailureIsAFirstOneAgain",
              Node{},
              everyAnswerIs404,
              {offer, attemptsWork, downloadRetryTimerExpires, everyAnswerIs404,
               [] { announce({}); }},
              entries(answered(kRetryIn30Minutes), downloadedAndWritten(), rebootScheduled(63000),
                      answered(kRetryIn30Minutes))},
        // The offer stops the timer, but the count goes on.
        Story{"ByAnotherOfferThatContinuesTheCount",
              Node{},
              everyAnswerIs404,
              {offer, expectRetry, offer, expectRetry},
              entries(answered(kRetryIn30Minutes), "stopTimer downloadRetryTimer",
                      answered(kRetryIn2Minutes))},
        Story{"ByTheUsersTriggerThatExhaustsTheBudgetAndStopsTheTimer", Node{}, everyAnswerIs404,
              series(5,
                     [] {
                         mobileTrigger();
                         expectNoRetry();
                     }),
              entries(sixFailures(answered, kRetryIn30Minutes), "system rm /tmp/ota_agent_data",
                      "stopTimer downloadStartTimer", transfer(),
                      "curl_easy_getinfo CURLINFO_RESPONSE_CODE", "stopTimer downloadRetryTimer",
                      signal("OTA_RECONNECT_BUE"))},
        Story{"ByAnAnswerThatIsNotCounted",
              Node{},
              everyAnswerIs404,
              {offer, [] { curl().responseCode = 504; }, downloadRetryTimerExpires, expectNoRetry},
              entries(answered(kRetryIn30Minutes), transfer(),
                      "curl_easy_getinfo CURLINFO_RESPONSE_CODE", transferEnds(), kMarkFailure)},
        Story{"AtOnceOnANodeOfUnknownMode",
              ofUnknownMode(),
              everyAnswerIs404,
              {offer, expectRetry},
              answered("stopTimer downloadRetryTimer")},
        Story{"ByAnOfferForAnotherDevice",
              Node{},
              everyAnswerIs404,
              {offer, [] { announce({.mac = "00:00:00:00:00:01"}); }, expectRetry},
              answered(kRetryIn30Minutes)}),
    storyName);

} // namespace
