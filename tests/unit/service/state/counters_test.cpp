// SPDX-License-Identifier: MIT
// What is counted, that each line counts once, and what a start makes of the file.
#include "service/state/counters.h"

#include "tests/unit/service/state/files.h"

#include "service/state/history.h"

#include <poll.h>

namespace {

using service::Counters;
using service::HistoryLine;
using Counts = std::map<std::string, std::uint64_t>;

std::string counted(std::uint64_t number, const std::string &event,
                    const service::StageLeft &left = {}) {
    HistoryLine line;
    line.number = number;
    line.event = event;
    return service::formatHistoryLine(line, 0, "node", left);
}

class ACounter : public InAFolder {
  protected:
    // Until the disk has what was handed to it.
    std::string kept() {
        const std::string file = in("counters.json");
        disk_.emplace();
        return textOf(file);
    }

    std::optional<service::DiskWriter> disk_{std::in_place};
};

TEST_F(ACounter, IsNamedByEventResultAndReason) {
    Counters counters(*disk_, in("counters.json"));
    HistoryLine failed;
    failed.number = 2;
    failed.event = "attempt-failed";
    failed.outcome = base::Outcome::waiting;
    failed.reasonCode = base::Reason::diskFull;
    counters.count(counted(1, "boot"));
    counters.count(service::formatHistoryLine(failed, 0, "node"));
    failed.number = 3;
    counters.count(service::formatHistoryLine(failed, 0, "node"));
    EXPECT_EQ(counters.all(),
              (Counts{{"event boot done none", 1}, {"event attempt-failed waiting disk-full", 2}}));
}

TEST_F(ACounter, SumsUpStagesTheirTimeAndTheBytes) {
    Counters counters(*disk_, in("counters.json"));
    counters.count(counted(1, "stage", {"downloading", 1500, 4096}));
    counters.count(counted(2, "stage", {"verifying", 20, 0}));
    counters.count(counted(3, "finished", {"downloading", 500, 100}));
    Counts counts = counters.all();
    EXPECT_EQ(counts["stage downloading"], 2U);
    EXPECT_EQ(counts["milliseconds downloading"], 2000U);
    EXPECT_EQ(counts["milliseconds verifying"], 20U);
    EXPECT_EQ(counts["bytes"], 4196U);
}

TEST_F(ACounter, TakesALineOnceWhateverComesAgain) {
    {
        Counters counters(*disk_, in("counters.json"));
        counters.count(counted(1, "boot"));
        counters.count(counted(2, "boot"));
        counters.count(counted(2, "boot"));
        counters.keep();
    }
    EXPECT_EQ(kept(), R"({"up_to":2,"counts":{"event boot done none":2}})"
                      "\n");
    Counters again(*disk_, in("counters.json"));
    ASSERT_TRUE(again.load());
    EXPECT_EQ(again.upTo(), 2U);
    for (const std::uint64_t number : {1U, 2U, 3U}) { // as the history gives them
        again.count(counted(number, "boot"));
    }
    EXPECT_EQ(again.all(), (Counts{{"event boot done none", 3}}));
}

TEST_F(ACounter, IsWrittenAfterSoManyLinesAndNotBefore) {
    Counters counters(*disk_, in("counters.json"));
    std::uint64_t number = 1;
    for (; number < Counters::kLinesBetweenWrites; ++number) {
        counters.count(counted(number, "boot"));
    }
    EXPECT_EQ(kept(), "");
    counters.count(counted(number, "boot"));
    EXPECT_NE(kept().find(R"("up_to":64,)"), std::string::npos);
}

TEST_F(ACounter, OfAFileThatIsDamagedIsCountedAnewFromTheHistory) {
    for (const char *damage :
         {"", "{", R"({"up_to":9})", R"({"up_to":-1,"counts":{}})", R"({"up_to":1.5,"counts":{}})",
          R"({"up_to":9,"counts":{"event boot done none":-1}})",
          R"({"up_to":9,"counts":{"event boot done none":"1"}})",
          R"({"up_to":9,"counts":[1]} x)"}) {
        writeText(in("counters.json"), damage);
        Counters counters(*disk_, in("counters.json"));
        const auto loaded = counters.load();
        ASSERT_FALSE(loaded) << damage;
        EXPECT_NE(loaded.error().text.find(in("counters.json")), std::string::npos);
        EXPECT_EQ(counters.upTo(), 0U);
        counters.count(counted(1, "boot"));
        EXPECT_EQ(counters.all(), (Counts{{"event boot done none", 1}})) << damage;
    }
}

TEST_F(ACounter, OfANewNodeIsNoMistake) {
    Counters counters(*disk_, in("counters.json"));
    EXPECT_TRUE(counters.load());
    EXPECT_EQ(counters.all(), Counts{});
}

TEST_F(ACounter, HasABoundedNumberOfNames) {
    Counters counters(*disk_, in("counters.json"));
    for (std::uint64_t number = 1; number <= Counters::kMostNames + 7; ++number) {
        counters.count(counted(number, "event-" + std::to_string(number)));
    }
    counters.count(counted(1000, "event-1"));
    Counts counts = counters.all();
    EXPECT_EQ(counts.size(), Counters::kMostNames + 1);
    EXPECT_EQ(counts["other"], 7U);
    EXPECT_EQ(counts["event event-1 done none"], 2U);
    counters.keep();
    kept();
    Counters again(*disk_, in("counters.json"));
    ASSERT_TRUE(again.load()) << again.load().error().text;
    EXPECT_EQ(again.all(), counts);
}

} // namespace
