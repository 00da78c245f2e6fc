// SPDX-License-Identifier: MIT
// Whose doing a line is, and who has to go where there is not room for all.
#include "service/state/line_source.h"

#include "service/state/history.h"

#include <gtest/gtest.h>

namespace {

using service::sourceOf;
using service::thinnedOut;

std::string line(const std::string &event, const std::string &reason = "") {
    service::HistoryLine made;
    made.event = event;
    made.reason = reason;
    return service::formatHistoryLine(made, 0, "node") + "\n";
}

TEST(TheSourceOfALine, IsTheNodeForItsRequestsAndItself) {
    for (const char *const event :
         {"accepted", "started", "finished", "stage", "boot", "host-crashed", "root-failed"}) {
        EXPECT_EQ(sourceOf(line(event, "02:00:00:00:00:0A")), "") << event;
    }
}

TEST(TheSourceOfALine, IsTheExtenderForWhatItSent) {
    EXPECT_EQ(sourceOf(line("extender-report", "02:00:00:00:00:0A")), "02:00:00:00:00:0A");
    EXPECT_EQ(sourceOf(line("extender-file-server", "02:00:00:00:00:0A: and 3 more")),
              "02:00:00:00:00:0A");
    EXPECT_EQ(sourceOf(line("extender-report", "no address: topic")), service::kNoAddress);
    EXPECT_EQ(sourceOf(line("extender-report", "")), service::kNoAddress);
}

TEST(TheSourceOfALine, IsTheBusForWhatItsCallersCause) {
    EXPECT_EQ(sourceOf(line("refused", "mac: 02")), service::kFromTheBus);
    EXPECT_EQ(sourceOf(line("setting-changed")), service::kFromTheBus);
    service::HistoryLine kept;
    kept.event = "refused";
    kept.ticket = 7;
    EXPECT_EQ(sourceOf(service::formatHistoryLine(kept, 0, "node")), "") << "a request of its own";
}

TEST(TheSourceOfALine, IsTheNodeWhereItCannotBeRead) {
    EXPECT_EQ(sourceOf(""), "");
    EXPECT_EQ(sourceOf("{\"event\":\"extender-report\""), "");
    EXPECT_EQ(sourceOf("[]"), "");
}

TEST(AThinnedText, HasAllOfTheNodesOwnLinesInTheirOrder) {
    const std::string own = line("accepted") + line("finished") + "cut";
    EXPECT_EQ(thinnedOut(own, 0), own);
    EXPECT_EQ(thinnedOut("", 0), "");
    const std::string mixed =
        line("accepted") + line("refused", "a") + line("finished") + line("refused", "b");
    EXPECT_EQ(thinnedOut(mixed, line("refused", "b").size()),
              line("accepted") + line("finished") + line("refused", "b"));
    EXPECT_EQ(thinnedOut(mixed, 100'000), mixed);
}

TEST(AThinnedText, GivesEverySourceTheSameShare) {
    const std::string quiet = line("extender-report", "02:00:00:00:00:0A");
    const std::string loud = line("extender-report", "02:00:00:00:00:0F");
    std::string text = quiet;
    for (int i = 0; i < 20; ++i) {
        text += loud;
    }
    text += line("refused", "x");
    const std::string kept = thinnedOut(text, quiet.size() * 6);
    EXPECT_EQ(kept.find(quiet), 0U);
    EXPECT_NE(kept.find(line("refused", "x")), std::string::npos);
    EXPECT_EQ(kept.size(), quiet.size() + 4 * loud.size() + line("refused", "x").size());
}

} // namespace
