// SPDX-License-Identifier: MIT
// otactl metrics: every figure, as Prometheus takes it, on standard output or in a file.
#include "otactl_test.h"

#include "tests/support/content_of.h"

#include <cstdlib>
#include <regex>
#include <sys/stat.h>
#include <sys/wait.h>

namespace {

class Metrics : public OtactlTest {
  protected:
    Metrics() {
        service_.node = someNode();
        service_.node.bankTrials[0] = {"a", true, 2, 0, ""};
        service_.node.failedVersions = {{"4QZ1.9", 3, "health", true}};
        service_.counted = {{"bytes", 4196},
                            {"event boot done none", 3},
                            {"event finished failed disk-full", 1},
                            {"milliseconds downloading", 2005},
                            {"other", 7},
                            {"stage downloading", 2},
                            {"words of a later release that nobody knows", 1}};
        EXPECT_TRUE(service_.start());
    }

    void expectFigure(const std::string &text, const std::string &figure) {
        EXPECT_NE(text.find("\notaswagent_" + figure + "\n"), std::string::npos) << figure;
    }
};

TEST_F(Metrics, HaveEveryFigureOfTheNode) {
    const std::string text = "\n" + otactl({"metrics"}).output;
    for (const char *figure :
         {"up 1", "uptime_seconds 3600", "queued_requests 1", "downloaded_bytes 1048576",
          "timer_seconds{timer=\"rebootTimer\"} 4800",
          "stage{stage=\"downloading\",offered_version=\"4QZ2.1.0\"} 1",
          "bank{bank=\"a\",version=\"4QZ2.0.0\",running=\"yes\",next=\"yes\"} 1",
          "bank{bank=\"b\",version=\"\",running=\"no\",next=\"no\"} 0",
          "trial_attempts_left{bank=\"a\"} 2",
          "failed_trials{version=\"4QZ1.9\",reason=\"health\",refused=\"yes\"} 3",
          "events_total{event=\"boot\",result=\"done\",reason_code=\"none\"} 3",
          "events_total{event=\"finished\",result=\"failed\",reason_code=\"disk-full\"} 1",
          "other_events_total 7", "stages_total{stage=\"downloading\"} 2",
          "stage_seconds_total{stage=\"downloading\"} 2.005", "downloaded_bytes_total 4196"}) {
        expectFigure(text, figure);
    }
    EXPECT_TRUE(std::regex_search(
        text, std::regex("otaswagent_memory_bytes\\{process=\"report_tests\"\\} [1-9][0-9]{6,}")))
        << text;
    EXPECT_EQ(text.find("later release"), std::string::npos);
}

TEST_F(Metrics, AreWhatPrometheusTakes) {
    service_.change([](service::NodeStatus &node) { node.serial = "a\"b\\c\nd"; });
    const std::string file = bus_.in("node.prom");
    ASSERT_EQ(otactl({"metrics", "--file", file}).code, 0);
    const std::string check = "promtool check metrics <" + file + " >" + bus_.in("said") + " 2>&1";
    EXPECT_EQ(WEXITSTATUS(std::system(check.c_str())), 0) << contentOf(bus_.in("said"));
    EXPECT_EQ(contentOf(bus_.in("said")), "");
}

TEST_F(Metrics, ReplaceTheirFileInOneStepForEverybody) {
    const std::string file = fileHolding("older");
    struct stat before {};
    ASSERT_EQ(stat(file.c_str(), &before), 0);
    expectPrinted(otactl({"metrics", "--file", file}), "");
    struct stat after {};
    ASSERT_EQ(stat(file.c_str(), &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(after.st_mode & 0777U, 0644U);
    EXPECT_EQ(contentOf(file).find("# HELP otaswagent_up "), 0U);
}

TEST_F(Metrics, OfAServiceThatDoesNotAnswerSayThatItIsDown) {
    service_.stop();
    const std::string file = fileHolding("older");
    const Ended ended = otactl({"metrics", "--file", file});
    EXPECT_EQ(ended.errors.find("otactl: otad is not on the bus"), 0U) << ended.errors;
    EXPECT_NE(ended.code, 0);
    EXPECT_NE(contentOf(file).find("\notaswagent_up 0\n"), std::string::npos) << contentOf(file);
    EXPECT_EQ(contentOf(file).find("uptime"), std::string::npos);
}

TEST_F(Metrics, ThatCannotBeWrittenSayWhere) {
    const Ended ended = otactl({"metrics", "--file", bus_.in("none/file")});
    EXPECT_EQ(ended.code, 1);
    EXPECT_NE(ended.errors.find(bus_.in("none/file")), std::string::npos) << ended.errors;
}

} // namespace
