// SPDX-License-Identifier: MIT
// Lines of the history: their text, what stays in memory, what comes back from the files.
#include "service/state/history.h"

#include "tests/unit/service/state/files.h"

#include "base/json.h"
#include "service/state/line_source.h"

#include <algorithm>
#include <future>
#include <memory>
#include <poll.h>

namespace {

using service::History;
using service::HistoryLine;

HistoryLine lineOf(const std::string &event) {
    HistoryLine line;
    line.event = event;
    return line;
}

std::string numbered(int number) {
    return service::formatHistoryLine(lineOf("event-" + std::to_string(number)), 0, "node");
}

TEST(AHistoryLine, IsOneJsonObjectWithEveryKey) {
    HistoryLine line = lineOf("finished");
    line.number = 42;
    line.ticket = 9'007'199'254'740'991;
    line.version = "4QZ-2.0.0";
    line.stage = "verifying";
    line.outcome = base::Outcome::checksumFailed;
    line.reason = "OTA_CRC_CHECK_FAILED";
    line.next = "offer \"again\"";
    EXPECT_EQ(
        service::formatHistoryLine(line, 1'700'000'000, "02:00:00:00:00:01"),
        R"({"seq":42,"time":"2023-11-14T22:13:20Z","node":"02:00:00:00:00:01","event":"finished",)"
        R"("ticket":9007199254740991,"version":"4QZ-2.0.0","stage":"verifying","code":51,)"
        R"("result":"checksumFailed","reason_code":"checksum-differs","reason":"OTA_CRC_CHECK_FAILED",)"
        R"("next":"offer \"again\""})");
}

TEST(AHistoryLine, TellsOfTheStageThatEndedBeforeIt) {
    const std::string text =
        service::formatHistoryLine(lineOf("stage"), 0, "node", {"downloading", 12'345, 67'108'864});
    EXPECT_NE(text.find(R"(,"left":"downloading","left_ms":12345,"left_bytes":67108864})"),
              std::string::npos)
        << text;
}

TEST(AHistoryLine, HasItsTimeInUtcWhateverTheZone) {
    setenv("TZ", "UTC-5", 1);
    tzset();
    const std::string text = service::formatHistoryLine(lineOf("boot"), 0, "node");
    unsetenv("TZ");
    tzset();
    EXPECT_NE(text.find("\"time\":\"1970-01-01T00:00:00Z\""), std::string::npos) << text;
}

TEST(AHistoryLine, IsPrintableAsciiWhateverItIsMadeOf) {
    HistoryLine line = lineOf("agent-waits");
    line.reason = "a\nb\x1b[31m\xff";
    const std::string text = service::formatHistoryLine(line, 0, "node");
    EXPECT_NE(text.find("\"reason\":\"a?b?[31m?\""), std::string::npos) << text;
    EXPECT_TRUE(base::parseObject(text));
}

TEST(AHistoryLine, IsNoLongerThanItsReaderTakesWhateverItIsMadeOf) {
    HistoryLine line = lineOf("refused");
    line.version = line.reason = line.next = std::string(20'000'000, '"');
    const std::string text = service::formatHistoryLine(line, 0, "node");
    EXPECT_LT(text.size(), 8U * 1024);
    const base::Json object = base::parseObject(text);
    EXPECT_EQ(base::textOf(object.get(), "reason"), std::string(512, '"') + "...");
}

std::string reportOf(const std::string &mac, int number) {
    HistoryLine line = lineOf("extender-report");
    line.reason = mac + ": number " + std::to_string(number);
    return service::formatHistoryLine(line, 0, "node");
}

class AHistory : public InAFolder {
  protected:
    std::unique_ptr<History> open(std::uint64_t maxBytes = 1'000'000, int keep = 2) {
        return std::make_unique<History>(
            disk_, path_, maxBytes, keep,
            [this](const std::string &whatIsWrong) { failures_.push_back(whatIsWrong); });
    }
    /* Waits until everything that was added is written or failed. */
    void settle() {
        bool settled = false;
        disk_.append(std::make_shared<const service::LineFile>(service::LineFile{in("settled")}),
                     "", service::DiskWriter::Overtaking::forbidden,
                     [&](const base::Result<void> &) { settled = true; });
        pollfd waiting{disk_.fd(), POLLIN, 0};
        while (!settled && poll(&waiting, 1, kPatience) == 1) {
            disk_.dispatch();
        }
        ASSERT_TRUE(settled);
    }

    /* So that the disk is never far behind. */
    void settleNowAndThen(int number) {
        if (number % 100 == 0) {
            settle();
        }
    }

    service::DiskWriter disk_;
    const std::string path_ = in("history.jsonl");
    std::vector<std::string> failures_;
};

TEST_F(AHistory, GivesTheNewestLinesTheOldestOfThemFirst) {
    const auto history = open();
    EXPECT_TRUE(history->newest(10).empty());
    for (int number = 0; number < 3; ++number) {
        history->add(numbered(number));
    }
    EXPECT_EQ(history->newest(2), (std::vector{numbered(1), numbered(2)}));
    EXPECT_EQ(history->newest(10).size(), 3U);
    EXPECT_TRUE(history->newest(0).empty());
}

TEST_F(AHistory, IsInItsFileLineByLine) {
    const auto history = open();
    history->add(numbered(0));
    history->add(numbered(1));
    settle();
    EXPECT_EQ(textOf(path_), numbered(0) + "\n" + numbered(1) + "\n");
    EXPECT_TRUE(failures_.empty());
}

TEST_F(AHistory, ComesBackFromAllItsFilesInOrder) {
    const auto history = open(2 * (numbered(0).size() + 1), 2);
    for (int number = 0; number < 6; ++number) {
        history->add(numbered(number));
    }
    settle();
    ASSERT_TRUE(std::filesystem::exists(path_ + ".2"));
    const auto back = open();
    EXPECT_EQ(back->load(), 0U);
    EXPECT_EQ(back->newest(100), history->newest(100));
    EXPECT_EQ(back->newest(100).size(), 6U);
}

TEST_F(AHistory, KeepsTheNewestFiveHundredInMemory) {
    std::string text;
    for (int number = 0; number < 600; ++number) {
        text += numbered(number) + "\n";
    }
    writeText(path_, text);
    const auto history = open();
    EXPECT_EQ(history->load(), 0U);
    ASSERT_EQ(history->newest(1000).size(), 500U);
    EXPECT_EQ(history->newest(1000).front(), numbered(100));
    history->add(numbered(600));
    ASSERT_EQ(history->newest(1000).size(), 500U);
    EXPECT_EQ(history->newest(1000).front(), numbered(101));
    EXPECT_EQ(history->newest(1000).back(), numbered(600));
}

constexpr const char *kFlooder = "02:00:00:00:00:0F";
constexpr const char *kOther = "02:00:00:00:00:0A";

TEST_F(AHistory, KeepsTheNodesOwnLinesInMemoryUnderAFlood) {
    const auto history = open();
    for (int number = 0; number < 200; ++number) {
        history->add(numbered(number));
    }
    history->add(reportOf(kOther, 1));
    for (int number = 0; number < 5000; ++number) {
        history->add(reportOf(kFlooder, number));
        settleNowAndThen(number);
    }
    const std::vector<std::string> newest = history->newest(1000);
    EXPECT_EQ(newest.size(), 500U);
    for (int number = 0; number < 200; ++number) {
        EXPECT_EQ(newest.at(static_cast<std::size_t>(number)), numbered(number));
    }
    EXPECT_EQ(newest.at(200), reportOf(kOther, 1)) << "one source has pushed out another";
    EXPECT_EQ(newest.back(), reportOf(kFlooder, 4999));
}

TEST_F(AHistory, KeepsTheNodesOwnLinesInItsFilesUnderAFlood) {
    const auto history = open(20'000, 1);
    for (int number = 0; number < 50; ++number) {
        history->add(numbered(number));
    }
    history->add(reportOf(kOther, 1));
    for (int number = 0; number < 3000; ++number) {
        history->add(reportOf(kFlooder, number));
        settleNowAndThen(number);
    }
    history->add(numbered(50));
    settle();
    const auto back = open(20'000, 1);
    EXPECT_EQ(back->load(), 0U);
    const std::vector<std::string> lines = back->newest(1000);
    for (int number = 0; number < 50; ++number) {
        EXPECT_EQ(lines.at(static_cast<std::size_t>(number)), numbered(number));
    }
    EXPECT_EQ(lines.at(50), reportOf(kOther, 1)) << "one source has pushed out another";
    EXPECT_EQ(lines.at(lines.size() - 2), reportOf(kFlooder, 2999));
    EXPECT_EQ(lines.back(), numbered(50));
    EXPECT_LE(std::filesystem::file_size(path_), 20'000U);
}

TEST_F(AHistory, RotatesItsFilesByTheNodesOwnLinesAlone) {
    const auto history = open(2'000, 2);
    for (int number = 0; number < 100; ++number) {
        history->add(numbered(number));
        history->add(reportOf(kFlooder, number));
    }
    settle();
    const auto back = open(2'000, 2);
    back->load();
    const std::vector<std::string> lines = back->newest(1000);
    EXPECT_EQ(lines.back(), reportOf(kFlooder, 99));
    EXPECT_EQ(lines.at(lines.size() - 2), numbered(99));
    const auto own = std::count_if(lines.begin(), lines.end(), [](const std::string &line) {
        return service::sourceOf(line).empty();
    });
    EXPECT_GE(own * static_cast<long>(numbered(0).size()), 2 * 1'000) << "half of each older file";
}

TEST_F(AHistory, OfADiskThatHangsStaysBounded) {
    writeText(path_, "x");
    std::promise<void> letGo;
    const auto slow = std::make_shared<const service::LineFile>(
        service::LineFile{path_, 1, 1, [&letGo](std::string_view) {
                              letGo.get_future().wait();
                              return "";
                          }});
    disk_.append(slow, "", service::DiskWriter::Overtaking::allowed, {});
    const auto history = open();
    EXPECT_FALSE(history->isBehind());
    for (int number = 0; number < 3000; ++number) {
        history->add(numbered(number));
    }
    EXPECT_TRUE(history->isBehind());
    EXPECT_LE(disk_.waitingLines(), History::kMostWaiting);
    EXPECT_EQ(history->takeUnwritten(), 0U) << "the next line would not be written either";
    letGo.set_value();
    settle();
    EXPECT_FALSE(history->isBehind());
    // The slow task itself may have been waiting or at work.
    EXPECT_NEAR(static_cast<double>(history->takeUnwritten()), 3000.0 - History::kMostWaiting, 1);
    EXPECT_EQ(history->takeUnwritten(), 0U);
}

TEST_F(AHistory, SkipsDamagedLinesAndCountsThem) {
    writeText(path_, numbered(0) + "\n{\"time\":\"cut\n\n[1]\n{\"time\":1,\"event\":\"x\"}\n" +
                         R"({"event":"no time"})" + "\n" + numbered(1) + "\n" + "torn");
    const auto history = open();
    EXPECT_EQ(history->load(), 6U);
    EXPECT_EQ(history->newest(10), (std::vector{numbered(0), numbered(1)}));
}

TEST_F(AHistory, StartsEmptyWithoutAFile) {
    const auto history = open();
    EXPECT_EQ(history->load(), 0U);
    EXPECT_TRUE(history->newest(10).empty());
}

TEST_F(AHistory, TellsOfALineThatCannotBeWrittenAndKeepsItInMemory) {
    std::filesystem::create_directory(path_);
    const auto history = open();
    history->add(numbered(0));
    settle();
    history->add(numbered(1));
    settle();
    ASSERT_EQ(failures_.size(), 1U) << "once is enough";
    EXPECT_NE(failures_.front().find(path_), std::string::npos) << failures_.front();
    EXPECT_EQ(history->newest(10), (std::vector{numbered(0), numbered(1)}));
}

} // namespace
