// SPDX-License-Identifier: MIT
// Every verb that asks the service once: what reaches the service, and what is printed.
#include "otactl_test.h"

#include <array>
#include <ctime>

namespace {

class Verbs : public OtactlTest {
  protected:
    Verbs() { EXPECT_TRUE(service_.start()); }

    void expectCall(const std::string &call) {
        EXPECT_EQ(service_.calls(), std::vector<std::string>{call});
    }
};

void expectPrinted(const Ended &ended, const std::string &output) {
    EXPECT_EQ(ended.output, output);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ended.code, 0);
}

TEST_F(Verbs, OfferSendsTheFileAsItIs) {
    const std::string file = fileHolding("{\"model\": \"x\",\n  \"caf\u00e9\": 1}\n");
    expectPrinted(otactl({"offer", file}), "accepted, ticket 7\n");
    expectCall("offer 0 0 0 {\"model\": \"x\",\n  \"caf\u00e9\": 1}\n");
}

TEST_F(Verbs, OfferReadsStandardInputAndItsOptions) {
    expectPrinted(
        otactl({"offer", "-", "--offload", "--first-poll", "--onboarding-status", "2", "--json"},
               {.input = "{}"}),
        "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"ticket\":7}\n");
    expectCall("offer 1 2 1 {}");
}

TEST_F(Verbs, TriggerSaysGoUnlessAnotherFlagIsGiven) {
    expectPrinted(otactl({"trigger"}), "accepted, ticket 7\n");
    expectPrinted(otactl({"--json", "trigger", "--flag", "0"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"ticket\":7}\n");
    EXPECT_EQ(service_.calls(), (std::vector<std::string>{"trigger 1", "trigger 0"}));
}

TEST_F(Verbs, CancelNamesTheTicketOrWhateverRuns) {
    expectPrinted(otactl({"cancel"}), "cancelled, ticket 7\n");
    expectPrinted(otactl({"cancel", "5", "--json"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"ticket\":7}\n");
    EXPECT_EQ(service_.calls(), (std::vector<std::string>{"cancel 0", "cancel 5"}));
}

TEST_F(Verbs, ActivateAtSendsARecordOfThisNode) {
    expectPrinted(otactl({"activate-at", "03:30"}),
                  "accepted, ticket 7\nit governs 4QZ2.1.0 (ticket 6)\n");
    expectCall(R"(activate-at {"model":"GW-1000","mac":"02:00:5E:00:53:01","sn":"SN1",)"
               R"("actTime":"03:30"})");
}

TEST_F(Verbs, ActivateAtCountsFromNowInLocalTime) {
    // A place that is half an hour off everybody else's hours.
    const auto before = std::time(nullptr);
    expectPrinted(otactl({"activate-at", "now+90"}, {.environment = {{"TZ", "XYZ-05:30"}}}),
                  "accepted, ticket 7\nit governs 4QZ2.1.0 (ticket 6)\n");
    const auto after = std::time(nullptr);
    const std::vector<std::string> calls = service_.calls();
    ASSERT_EQ(calls.size(), 1U);
    bool found = false;
    for (auto moment = before; moment <= after; ++moment) {
        const std::time_t there = moment + 90 + 5 * 3600 + 30 * 60;
        std::tm time{};
        gmtime_r(&there, &time);
        std::array<char, 40> text{};
        std::strftime(text.data(), text.size(), "\"actTime\":\"%H:%M:%S\"}", &time);
        found = found || calls[0].ends_with(text.data());
    }
    EXPECT_TRUE(found) << calls[0];
}

TEST_F(Verbs, ActivateAtSaysWhatItGovernsWhereNothingWaits) {
    service_.change([](service::NodeStatus &node) { node.timers.clear(); });
    const std::string governed =
        "it governs the next image of policy 0, until the node boots or another time is named\n";
    expectPrinted(otactl({"activate-at", "03:30"}), "accepted, ticket 7\n" + governed);
    service_.change([](service::NodeStatus &node) { node.activationTime = "03:30"; });
    EXPECT_NE(otactl({"status"}).output.find("activates   at 03:30, as was named; " + governed),
              std::string::npos);
}

TEST_F(Verbs, SetSendsNameAndValue) {
    expectPrinted(otactl({"set", "work_mode", "RGW"}), "work_mode is now RGW\n");
    expectPrinted(otactl({"set", "onboarding", "1", "--json"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"name\":\"onboarding\","
                  "\"value\":\"1\"}\n");
    EXPECT_EQ(service_.calls(),
              (std::vector<std::string>{"set work_mode RGW", "set onboarding 1"}));
}

TEST_F(Verbs, StatusShowsTheNodeAligned) {
    expectPrinted(otactl({"status"}), "node        GW-1000, SN1, 02:00:5E:00:53:01\n"
                                      "software    4QZ2.0.0 from bank a\n"
                                      "stage       downloading, 25 %, 1.0 MiB so far\n"
                                      "request     4QZ2.1.0, ticket 6\n"
                                      "last end    none known\n"
                                      "queued      1\n"
                                      "status      OTA_SW_COMMIT_COMPLETE (running 4QZ2.0.0)\n"
                                      "timers      rebootTimer in 1 h 20 min\n"
                                      "mode        RGW, Controller\n"
                                      "activates   at 02:30:00 if nobody names a time\n"
                                      "root        not connected\n"
                                      "up          1 h\n"
                                      "service     otad " OTA_VERSION "\n");
}

TEST_F(Verbs, StatusOfAnIdleNodeHasNoGaps) {
    service_.change([](service::NodeStatus &node) {
        node = {};
        node.deferred = true;
        node.rootConnected = true;
    });
    const std::string output = otactl({"status"}).output;
    for (const char *line :
         {"node        , , MAC not known yet\n", "software    unknown\n",
          "stage       idle; put off (otactl explain says why)\n", "request     none\n",
          "status      none yet\n", "timers      none\n", "root        connected\n"}) {
        EXPECT_NE(output.find(line), std::string::npos) << line << "in\n" << output;
    }
}

TEST_F(Verbs, StatusShowsWhatRunsAndWhatBootsNext) {
    service_.change([](service::NodeStatus &node) {
        node.banks = {{"a", "4QZ2.0.0", true, true, false}, {"b", "4QZ2.1.0", true, false, true}};
        node.statusRecord = R"({"status":"OTA_SW_ACTIVATION_COMPLETE","curswversion":"4QZ2.1.0",)"
                            R"("prevswversion":"4QZ2.0.0"})";
    });
    const std::string output = otactl({"status"}).output;
    for (const char *line :
         {"software    4QZ2.0.0 from bank a; 4QZ2.1.0 from bank b boots next\n",
          "status      OTA_SW_ACTIVATION_COMPLETE (new 4QZ2.1.0, running 4QZ2.0.0)\n"}) {
        EXPECT_NE(output.find(line), std::string::npos) << line << "in\n" << output;
    }
}

TEST_F(Verbs, StatusShowsWhyARequestWaitsAndHowTheLastEnded) {
    service_.change([](service::NodeStatus &node) {
        node.waitReasonCode = "file-not-found";
        node.waitReason = "attempt 2 of 7 failed: the file server answered 404";
        node.lastEnd = {5, 52, "flashWriteFailed", "not-signed", "it is not signed"};
    });
    const std::string output = otactl({"status"}).output;
    for (const char *line :
         {"waits       attempt 2 of 7 failed: the file server answered 404 (file-not-found)\n",
          "last end    ticket 5: flashWriteFailed (52, not-signed), it is not signed\n"}) {
        EXPECT_NE(output.find(line), std::string::npos) << line << "in\n" << output;
    }
}

TEST_F(Verbs, StatusForProgramsHasEveryProperty) {
    expectPrinted(
        otactl({"status", "--json"}),
        R"({"status_word":"OTA_SW_COMMIT_COMPLETE","status_record":{"model":"GW-1000",)"
        R"("curswversion":"4QZ2.0.0","status":"OTA_SW_COMMIT_COMPLETE"},"stage":"downloading",)"
        R"("percentage":25,"downloaded_bytes":1048576,"timers":[{"name":"rebootTimer",)"
        R"("seconds":4800}],"deferred":false,"banks":[{"bank":"a","version":"4QZ2.0.0",)"
        R"("whole":true,"running":true,"next":true},{"bank":"b","version":"","whole":false,)"
        R"("running":false,"next":false}],"bank_trials":[{"bank":"a","trial":false,"attempts":0,)"
        R"("failed_trials":0,"last_failure":""},{"bank":"b","trial":false,"attempts":0,)"
        R"("failed_trials":0,"last_failure":""}],"failed_versions":[],"uptime":3600,"queued":1,"ticket":6,)"
        R"("offered_version":"4QZ2.1.0","model":"GW-1000","serial":"SN1",)"
        R"("mac":"02:00:5E:00:53:01","work_mode":"RGW","work_role":"Controller","onboarding":0,)"
        R"("preferred_activation_time":"02:30:00","wait_reason_code":"","wait_reason":"",)"
        R"("last_end":{"ticket":0,"code":0,"result":"","reason_code":"","reason":""},)"
        R"("running_version":"","next_version":"","activation_time":"","root_connected":false,"daemon_version":")" OTA_VERSION
        "\"}\n");
}

TEST_F(Verbs, BanksAreATable) {
    expectPrinted(otactl({"banks"}), "BANK  VERSION   IMAGE      RUNNING  BOOTS NEXT  STATE\n"
                                     "a     4QZ2.0.0  whole      yes      yes         good\n"
                                     "b     -         not whole  no       no          -\n");
}

TEST_F(Verbs, BanksShowTrialsAndWhatFailed) {
    service_.change([](service::NodeStatus &node) {
        node.banks = {{"a", "4QZ2.0.0", true, false, false}, {"b", "4QZ2.1.0", true, true, true}};
        node.bankTrials = {{"a", false, 0, 2, "health"}, {"b", true, 1, 0, ""}};
        node.failedVersions = {{"4QZ2.0.0", 2, "health", true}, {"4QZ1.9", 1, "boot", false}};
    });
    expectPrinted(otactl({"banks"}),
                  "BANK  VERSION   IMAGE  RUNNING  BOOTS NEXT  STATE\n"
                  "a     4QZ2.0.0  whole  no       no          failed its trial: health\n"
                  "b     4QZ2.1.0  whole  yes      yes         on trial, 1 attempt left\n"
                  "4QZ2.0.0 failed its trial 2 times, last: health; offers of it are refused until "
                  "otactl forget 4QZ2.0.0\n"
                  "4QZ1.9 failed its trial once, last: boot; it may be offered again\n");
    expectPrinted(otactl({"--json", "banks"}),
                  R"({"banks":[{"bank":"a","version":"4QZ2.0.0","whole":true,"running":false,)"
                  R"("next":false,"trial":false,"attempts":0,"failed_trials":2,)"
                  R"("last_failure":"health"},{"bank":"b","version":"4QZ2.1.0","whole":true,)"
                  R"("running":true,"next":true,"trial":true,"attempts":1,"failed_trials":0,)"
                  R"("last_failure":""}],"failed_versions":[{"version":"4QZ2.0.0","trials":2,)"
                  R"("reason":"health","refused":true},{"version":"4QZ1.9","trials":1,)"
                  "\"reason\":\"boot\",\"refused\":false}]}\n");
}

TEST_F(Verbs, SetWarnsOfAModeThatTheAgentDoesNotKnow) {
    const Ended ended = otactl({"set", "work_mode", "rgw"});
    EXPECT_EQ(ended.code, 0);
    EXPECT_EQ(ended.output, "work_mode is now rgw\n");
    EXPECT_EQ(ended.errors,
              "otactl: warning: work_mode is \"rgw\": the agent knows RGW and AP_Bridge and takes "
              "another word for neither: what waits for its time is never activated; did you mean "
              "RGW?\n");
    EXPECT_NE(
        otactl({"set", "work_mode", "rgw", "--json"}).output.find(R"("warning":"work_mode is)"),
        std::string::npos);
    EXPECT_EQ(otactl({"set", "work_mode", "AP_Bridge"}).errors, "");
}

TEST_F(Verbs, BanksThatAreNotKnownAreAFailureWithItsReason) {
    service_.change([](service::NodeStatus &node) { node.banks.clear(); });
    EXPECT_EQ(otactl({"banks"}).code, 5);
    service_.change([](service::NodeStatus &node) {
        node.waitReasonCode = "boot-state-unreadable";
        node.waitReason = "/state: is a directory";
    });
    const Ended ended = otactl({"banks"});
    EXPECT_EQ(ended.code, 5);
    EXPECT_EQ(ended.output, "");
    EXPECT_NE(ended.errors.find(
                  "the banks are not known: /state: is a directory (boot-state-unreadable)"),
              std::string::npos)
        << ended.errors;
    EXPECT_EQ(otactl({"--json", "banks"}).code, 5);
}

TEST_F(Verbs, CommitAndForgetAreAnsweredWhenTheyAreDone) {
    expectPrinted(otactl({"commit"}), "the running bank is marked good\n");
    expectPrinted(otactl({"commit", "--json"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\"}\n");
    expectPrinted(otactl({"forget", "4QZ2.1.0"}), "4QZ2.1.0 may be offered again\n");
    expectPrinted(otactl({"--json", "forget", "4QZ2.1.0"}),
                  "{\"code\":0,\"result\":\"done\",\"reason\":\"\",\"version\":\"4QZ2.1.0\"}\n");
    EXPECT_EQ(service_.calls(),
              (std::vector<std::string>{"commit", "commit", "forget 4QZ2.1.0", "forget 4QZ2.1.0"}));
}

TEST_F(Verbs, CommitThatIsRefusedEndsWithTheCodeAndTheReason) {
    service_.raise([this](service::BusService &) {
        service_.refusal =
            guard::Refusal{base::Outcome::nothingToCommit, "bank", "bank a (4QZ2.0.0) runs"};
    });
    const Ended ended = otactl({"commit"});
    EXPECT_EQ(ended.code, 12);
    EXPECT_EQ(ended.output, "");
    EXPECT_NE(ended.errors.find("bank: bank a (4QZ2.0.0) runs"), std::string::npos) << ended.errors;
}

TEST_F(Verbs, ExplainPairsTopicAndSentence) {
    service_.raise([this](service::BusService &) {
        service_.sentences = {{"now", "An image is downloading."}, {"next", "It is checked."}};
    });
    expectPrinted(otactl({"explain"}), "now         An image is downloading.\n"
                                       "next        It is checked.\n");
    expectPrinted(otactl({"explain", "--json"}),
                  R"({"sentences":[{"topic":"now","sentence":"An image is downloading."},)"
                  "{\"topic\":\"next\",\"sentence\":\"It is checked.\"}]}\n");
}

TEST_F(Verbs, HistoryIsATableOfTheNewestLines) {
    service_.raise([this](service::BusService &) {
        service_.historyLines = {
            R"({"time":"2031-01-02T03:04:05Z","event":"stage","ticket":6,"version":"4QZ2.1.0",)"
            R"("stage":"verifying","code":0,"result":"done","reason":"","next":""})",
            R"({"time":"2031-01-02T03:05:06Z","event":"finished","ticket":6,"version":"4QZ2.1.0",)"
            R"("code":51,"result":"checksumFailed","reason":"MD5 differs","next":"offer again"})",
            R"({"time":"2031-01-02T03:06:07Z","event":"finished","ticket":7,"result":"done"})"};
    });
    expectPrinted(otactl({"history", "-n", "3"}),
                  "TIME                  EVENT     TICKET  VERSION   STAGE      WHAT\n"
                  "2031-01-02T03:04:05Z  stage     6       4QZ2.1.0  verifying\n"
                  "2031-01-02T03:05:06Z  finished  6       4QZ2.1.0             "
                  "checksumFailed; MD5 differs; offer again\n"
                  "2031-01-02T03:06:07Z  finished  7                            done\n");
    const Ended json = otactl({"history", "--json"});
    std::string expected;
    for (const std::string &line : service_.historyLines) {
        expected += line + "\n";
    }
    EXPECT_EQ(json.output, expected);
    EXPECT_EQ(service_.calls(), (std::vector<std::string>{"history 3", "history 20"}));
}

TEST_F(Verbs, ForeignTextsCannotSteerTheTerminal) {
    service_.change([](service::NodeStatus &node) {
        node.model = "\033]0;title\a\u009b2J\u202e";
        node.statusRecord = R"({"status":"\u001b[31mRED\r"})";
    });
    for (const char *json : {"", "--json"}) {
        std::vector<std::string> arguments = {"status"};
        if (*json != '\0') {
            arguments.emplace_back(json);
        }
        const Ended ended = otactl(arguments);
        for (const char *hostile : {"\033", "\a", "\r", "\u009b"}) {
            EXPECT_EQ(ended.output.find(hostile), std::string::npos) << ended.output;
        }
    }
    EXPECT_NE(otactl({"status"}).output.find(R"(\x1b]0;title\x07\xc2\x9b2J\xe2\x80\xae)"),
              std::string::npos);
}

} // namespace
