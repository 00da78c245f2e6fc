// SPDX-License-Identifier: MIT
// The check after a reboot: does the version run that was activated?
#include "agent_test.h"

using namespace ota::test;

namespace {

constexpr char kMarker[] = "log/ota_act_success";
constexpr char kCheck[] = "otaSwAgentSWCommitStatus";

const std::string kComplete = signal("OTA_SW_COMMIT_COMPLETE");
const std::string kFailed = signal("OTA_SW_COMMIT_FAILED");
const std::string kRemoval = "system rm -rf log/ota_act_success";

class CommitCheck : public StartedAgentTest {
  protected:
    static void check() { AGENT(otaSwAgentSWCommitStatus)(); }

    static void checkMarker(const std::string &content) {
        writeFile(kMarker, content);
        check();
    }

    static std::string entering() { return trace(kCheck, "Entering otaSwAgentSWCommitStatus\n"); }
    static std::string exiting() { return trace(kCheck, "Exiting otaSwAgentSWCommitStatus\n"); }

    static Entries success(const std::string &piece, const std::string &running) {
        return entries(compared(piece, running),
                       both("main", kCheck, "SW Commit Success... Sending Response to swmgnt\n"),
                       kComplete);
    }

    static Entries failure(const std::string &piece, const std::string &running) {
        return entries(compared(piece, running),
                       both("main", kCheck, "SW Commit Failed... Sending Response to swmgnt\n"),
                       kFailed);
    }

    static std::string versionFailed() {
        return error("main", kCheck, "nal_get_current_version failed\n");
    }

  private:
    static Entries compared(const std::string &piece, const std::string &running) {
        return both("main", kCheck, "swVer = " + piece + ", curSwVer = " + running + "\n");
    }
};

TEST_F(CommitCheck, ReportsCompleteWhereTheActivatedVersionRuns) {
    checkMarker("1.0\n");
    EXPECT_ENTRIES(journal().of({kCheck}),
                   entries(entering(), success("1.0", "1.0"), kRemoval, exiting()));
}

TEST_F(CommitCheck, ReportsFailedWhereAnotherVersionRuns) {
    checkMarker("2.0\n");
    EXPECT_ENTRIES(journal().of({kCheck}),
                   entries(entering(), failure("2.0", "1.0"), kRemoval, exiting()));
}

TEST_F(CommitCheck, RemovesTheMarkerAfterEitherReport) {
    shell().runsCommands = true;
    checkMarker("1.0\n");
    EXPECT_FALSE(exists(kMarker));
    checkMarker("2.0\n");
    EXPECT_FALSE(exists(kMarker));
}

TEST_F(CommitCheck, TracesAndDoesNothingWithoutAMarker) {
    check();
    EXPECT_ENTRIES(journal().all(), entries(entering(), exiting()));
}

TEST_F(CommitCheck, RemovesAnEmptyMarkerWithoutAReport) {
    checkMarker("");
    EXPECT_ENTRIES(journal().all(), entries(entering(), kRemoval, exiting()));
}

TEST_F(CommitCheck, NeedsNoLineEndBehindTheVersion) {
    checkMarker("1.0");
    EXPECT_ENTRIES(journal().actions(), entries(kComplete, kRemoval));
}

TEST_F(CommitCheck, ComparesLetterCaseAndBlanks) {
    node().currentVersion = "4QZ.a";
    checkMarker("4QZ.A\n4QZ.a \n4QZ.a\n");
    EXPECT_ENTRIES(journal().actions(), entries(kFailed, kFailed, kComplete, kRemoval));
}

TEST_F(CommitCheck, ReportsOneSignalPerPieceOfTheMarker) {
    checkMarker("1.0\n\n2.0\n1.0");
    EXPECT_ENTRIES(journal().of({kCheck}),
                   entries(entering(), success("1.0", "1.0"), failure("", "1.0"),
                           failure("2.0", "1.0"), success("1.0", "1.0"), kRemoval, exiting()));
}

TEST_F(CommitCheck, ReadsAVersionOf40CharactersAsTwoPieces) {
    const std::string first(31, 'a');
    const std::string second(9, 'b');
    checkMarker(first + second + "\n");
    EXPECT_ENTRIES(journal().of({kCheck}), entries(entering(), failure(first, "1.0"),
                                                   failure(second, "1.0"), kRemoval, exiting()));
}

TEST_F(CommitCheck, ReportsCompleteForAPieceThatHappensToRun) {
    node().currentVersion = std::string(31, 'a');
    checkMarker(std::string(31, 'a') + "bbb\n");
    EXPECT_ENTRIES(journal().actions(), entries(kComplete, kFailed, kRemoval));
}

TEST_F(CommitCheck, ReadsTheLineEndBehind31CharactersAsAPieceOfItsOwn) {
    node().currentVersion = std::string(31, 'a');
    checkMarker(std::string(31, 'a') + "\n");
    EXPECT_ENTRIES(journal().actions(), entries(kComplete, kFailed, kRemoval));
}

TEST_F(CommitCheck, ReadsThirtyCharactersAndTheirLineEndAsOnePiece) {
    node().currentVersion = std::string(30, 'a');
    checkMarker(std::string(30, 'a') + "\n");
    EXPECT_ENTRIES(journal().actions(), entries(kComplete, kRemoval));
}

TEST_F(CommitCheck, ComparesWithNothingWhereTheFirstVersionQueryFails) {
    node().results["nal_getCurSwVersion"] = {-1};
    checkMarker("1.0\n");
    EXPECT_ENTRIES(journal().of({kCheck}),
                   entries(entering(), versionFailed(), failure("1.0", ""), kRemoval, exiting()));
}

TEST_F(CommitCheck, ComparesWithThePreviousAnswerWhereALaterVersionQueryFails) {
    // The report behind the first piece asks once more, for the record that it sends.
    node().results["nal_getCurSwVersion"] = {0, 0, -1, 0};
    checkMarker("1.0\n1.0\n");
    EXPECT_ENTRIES(journal().of({kCheck}),
                   entries(entering(), success("1.0", "1.0"), versionFailed(),
                           success("1.0", "1.0"), kRemoval, exiting()));
}

TEST_F(CommitCheck, KeepsTheMarkerOpenWhileItReports) {
    journal().watchFiles();
    checkMarker("1.0\n");
    EXPECT_ENTRIES(journal().actions(), entries("fopen log/ota_act_success r", kComplete,
                                                "fclose log/ota_act_success", kRemoval));
}

TEST_F(CommitCheck, AsksForTheVersionOnceAPiece) {
    checkMarker("1.0\n2.0\n");
    Entries queries;
    for (const std::string &entry : journal().all()) {
        if (entry == "nal_getCurSwVersion" || entry == kComplete || entry == kFailed) {
            queries.push_back(entry);
        }
    }
    // The second query before each report fills the reported record.
    EXPECT_ENTRIES(queries, entries("nal_getCurSwVersion", "nal_getCurSwVersion", kComplete,
                                    "nal_getCurSwVersion", "nal_getCurSwVersion", kFailed));
}

TEST_F(CommitCheck, StaysWithinItsTextWhereThePlatformFillsAWholeVersion) {
    node().currentVersion = std::string(63, 'v');
    checkMarker("1.0\n");
    EXPECT_ENTRIES(journal().actions(), entries(kFailed, kRemoval));
}

TEST_F(CommitCheck, GoesOnWhereTheBusFails) {
    node().always["evbusSendSignal"] = -1;
    checkMarker("1.0\n");
    EXPECT_ENTRIES(journal().actions(), entries(kComplete, kRemoval));
}

TEST_F(CommitCheck, IgnoresAFailingRemoval) {
    node().always["system"] = 256;
    checkMarker("1.0\n");
    EXPECT_ENTRIES(
        journal().logsOf({kCheck}),
        without(entries(entering(), success("1.0", "1.0"), exiting()), {"evbusSendSignal"}));
}

TEST_F(CommitCheck, ForgetsTheVersionOfTheLastCheck) {
    checkMarker("1.0\n");
    node().results["nal_getCurSwVersion"] = {-1};
    journal().clear();
    checkMarker("1.0\n");
    EXPECT_ENTRIES(journal().of({kCheck}),
                   entries(entering(), versionFailed(), failure("1.0", ""), kRemoval, exiting()));
}

TEST_F(CommitCheck, EndsAVersionThatThePlatformLeftOpen) {
    node().currentVersion = std::string(64, 'v');
    checkMarker("1.0\n");
    EXPECT_ENTRIES(journal().of({kCheck}),
                   entries(entering(), failure("1.0", std::string(63, 'v')), kRemoval, exiting()));
}

} // namespace
