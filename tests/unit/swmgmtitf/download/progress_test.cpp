// SPDX-License-Identifier: MIT
// The progress file: which percentages are written, and which amounts must not hurt.
#include "download_fixture.h"

#include <cmath>
#include <limits>
#include <vector>

using namespace ota::test;

namespace {

struct Amounts {
    double total;
    double now;
};

class Progress : public DownloadTest {
  protected:
    // One successful download that reports these amounts; what was written and logged of them.
    Entries reported(const std::vector<Amounts> &reports) {
        journal().clear();
        curl().perform = [&](Transfer &transfer) {
            for (const Amounts &amounts : reports) {
                EXPECT_EQ(transfer.progress(amounts.total, amounts.now), 0);
            }
            return CURLE_OK;
        };
        EXPECT_EQ(download(), 0);
        Entries between = behind(journal().all(), "curl_easy_perform");
        return without(between, {"notice ", "curl_", "debug ota_httpDownLoadFile"});
    }

    static Entries written(int percentage) {
        const std::string number = std::to_string(percentage);
        return entries("system echo " + number + " > ./ota_dwld_prog",
                       trace("xferinfo", "Download Percentage: " + number));
    }
};

TEST_F(Progress, IsWrittenWhenThePercentageRises) {
    EXPECT_ENTRIES(reported({{200, 2}, {200, 3}, {200, 4}, {200, 100}, {200, 200}}),
                   entries(written(1), written(2), written(50), written(100)));
}

TEST_F(Progress, IsNeverWrittenForNothing) {
    EXPECT_ENTRIES(reported({{0, 0}, {0, 50}, {100, 0}, {1000, 9}, {100, 0.9}, {0.9, 50}}),
                   Entries{});
}

TEST_F(Progress, ReachesOneHundredOnce) {
    EXPECT_ENTRIES(reported({{100, 100}, {100, 100}, {100, 100}}), written(100));
}

TEST_F(Progress, CutsAmountsTowardZeroBeforeItDivides) {
    EXPECT_ENTRIES(reported({{10.9, 1.9}}), written(10));
}

TEST_F(Progress, GoesPastOneHundredWhereTheTotalWasTooSmall) {
    EXPECT_ENTRIES(reported({{100, 150}}), written(150));
}

TEST_F(Progress, RemembersAFallWithoutWritingItAndWritesTheNextRise) {
    EXPECT_ENTRIES(reported({{100, 60}, {100, 20}, {100, 20}, {100, 21}}),
                   entries(written(60), written(21)));
}

TEST_F(Progress, DoesNotForgetItsPercentageForAReportOfNothing) {
    EXPECT_ENTRIES(reported({{100, 60}, {100, 0}, {0, 10}, {100, 40}, {100, 41}}),
                   entries(written(60), written(41)));
}

TEST_F(Progress, OutlivesADownload) {
    EXPECT_ENTRIES(reported({{100, 100}}), written(100));
    EXPECT_ENTRIES(reported({{100, 5}, {100, 5}, {100, 6}, {100, 100}}),
                   entries(written(6), written(100)));
    EXPECT_ENTRIES(reported({{100, 100}}), Entries{}) << "as high as at the end of the last one";
}

TEST_F(Progress, OutlivesAFailedDownload) {
    curl().perform = [](Transfer &transfer) {
        transfer.progress(100, 30);
        return CURLE_PARTIAL_FILE;
    };
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(reported({{100, 30}, {100, 31}}), written(31));
}

TEST_F(Progress, IsToldToTheDebugLogOnly) {
    reported({{100, 30}});
    EXPECT_ENTRIES(journal().logsOf({"xferinfo", "dlFile_progressFunc"}),
                   entries(trace("xferinfo", "Download Percentage: 30")));
}

TEST_F(Progress, KeepsTheNumberAloneInItsFile) {
    shell().runsCommands = true;
    reported({{100, 30}, {100, 45}});
    EXPECT_EQ(contentOf("ota_dwld_prog"), "45\n");
}

TEST_F(Progress, HasTheFailureMarkerAppended) {
    shell().runsCommands = true;
    curl().perform = [](Transfer &transfer) {
        transfer.progress(100, 45);
        return CURLE_PARTIAL_FILE;
    };
    EXPECT_EQ(download(), 1);
    EXPECT_EQ(contentOf("ota_dwld_prog"), "45\nOTA_SW_DOWNLOAD_FAILED\n");
}

TEST_F(Progress, KeepsACommandOf31Characters) {
    const std::string command = "echo 12 > a/path/of/many/letters";
    ASSERT_EQ(command.size(), 32U);
    setText(AGENT_VAR(g_otaDwnldProg), "a/path/of/many/letter");
    EXPECT_ENTRIES(only(reported({{100, 12}}), {"system"}),
                   entries("system " + command.substr(0, 31)));
}

TEST_F(Progress, CutsACommandAt31Characters) {
    setText(AGENT_VAR(g_otaDwnldProg), "a/path/of/thirty/characters/in");
    EXPECT_ENTRIES(only(reported({{100, 7}, {100, 12}, {100, 100}}), {"system"}),
                   entries("system echo 7 > a/path/of/thirty/chara",
                           "system echo 12 > a/path/of/thirty/char",
                           "system echo 100 > a/path/of/thirty/cha"));
}

TEST_F(Progress, LeavesTheFailureMarkersLongestPathWhole) {
    setText(AGENT_VAR(g_otaDwnldProg), "a/path/of/thirty/characters/in");
    answer(404);
    EXPECT_EQ(download(), 1);
    EXPECT_EQ(journal().actions().back(),
              "system echo OTA_SW_DOWNLOAD_FAILED >> a/path/of/thirty/characters/in");
}

TEST_F(Progress, ShowsAnImageOfManyGigabytesRight) {
    EXPECT_ENTRIES(reported({{40e9, 39.99e9}}), written(99));
}

// What follows has no percentage worth writing; the agent has to live through it.
TEST_F(Progress, LivesThroughHostileAmounts) {
    const double limit = std::ldexp(1.0, 63);
    const std::vector<double> hostile{limit,
                                      -limit,
                                      2 * limit,
                                      1e300,
                                      -1e300,
                                      limit / 2,
                                      limit / 4,
                                      -1,
                                      -0.5,
                                      -1e18,
                                      std::numeric_limits<double>::infinity(),
                                      -std::numeric_limits<double>::infinity()};
    std::vector<Amounts> reports;
    for (const double total : hostile) {
        reports.push_back({total, 1});
        reports.push_back({1, total});
        for (const double now : hostile) {
            reports.push_back({total, now});
        }
    }
    reported(reports);
    reported({{100, 1}});
    EXPECT_ENTRIES(reported({{100, 2}}), written(2)) << "usable again";
}

TEST_F(Progress, LivesThroughAQuotientThatNoNumberHolds) {
    reported({{-1, std::ldexp(1.0, 61)}});
    reported({{100, 1}});
    EXPECT_ENTRIES(reported({{100, 2}}), written(2)) << "usable again";
}

TEST_F(Progress, TakesANegativeTotalForAFall) {
    EXPECT_ENTRIES(reported({{100, 50}, {-100, 50}, {100, 10}}), entries(written(50), written(10)));
}

} // namespace
