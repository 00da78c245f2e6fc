// SPDX-License-Identifier: MIT
// otactl status, for people and for programs.
#include "otactl_test.h"

namespace {

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
        R"(","trial_supported":true})"
        "\n");
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
