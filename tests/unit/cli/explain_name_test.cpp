// SPDX-License-Identifier: MIT
// What a code or a name means, without a service; and what a mistyped one was meant to be.
#include "otactl_test.h"

#include "base/reason.h"
#include "base/word.h"
#include "cli/verbs.h"

#include <array>

namespace {

class ExplainName : public OtactlTest {};

TEST_F(ExplainName, SaysWhatAnOutcomeMeansByItsCodeAndByItsName) {
    const Ended ended = otactl({"explain", "52"});
    EXPECT_EQ(ended.code, 0) << ended.errors;
    EXPECT_EQ(ended.output.find("outcome     flashWriteFailed\n"
                                "code        52 flashWriteFailed\n"
                                "means       the passive bank could not be written"),
              0U)
        << ended.output;
    EXPECT_NE(ended.output.find("reasons     not-signed, "), std::string::npos) << ended.output;
    EXPECT_EQ(otactl({"explain", "flashWriteFailed"}).output, ended.output);
}

TEST_F(ExplainName, KnowsEveryRowOfEveryTable) {
    std::vector<std::string> names;
    for (const base::OutcomeRow &row : base::outcomes()) {
        names.push_back(std::to_string(row.code));
    }
    for (const base::ReasonRow &row : base::reasons()) {
        names.emplace_back(row.name);
    }
    for (const base::WordRow &row : base::statusWords()) {
        names.emplace_back(row.word);
    }
    for (const std::string &name : names) {
        EXPECT_EQ(otactl({"explain", name}).code, 0) << name;
    }
}

TEST_F(ExplainName, IsAnObjectForPrograms) {
    EXPECT_EQ(otactl({"explain", "not-signed", "--json"}).output,
              R"({"kind":"reason","name":"not-signed","code":52,"result":"flashWriteFailed",)"
              R"("meaning":"the image is not signed, and this node takes signed ones only",)"
              R"("remedy":"have the image signed with otactl sign and offer it again",)"
              "\"reasons\":[]}\n");
}

TEST_F(ExplainName, SuggestsTheNearestName) {
    const Ended ended = otactl({"explain", "OTA_CRC_CHEK_FAILED"});
    EXPECT_EQ(ended.code, 2);
    EXPECT_NE(ended.errors.find("OTA_CRC_CHEK_FAILED: no code, outcome, reason or status word is "
                                "called so; did you mean OTA_CRC_CHECK_FAILED?"),
              std::string::npos)
        << ended.errors;
    EXPECT_EQ(otactl({"explain", "10"}).code, 2);
    EXPECT_EQ(otactl({"explain", "-1"}).code, 2);
}

TEST_F(ExplainName, AWrongVerbIsAnsweredWithTheNearest) {
    struct Row {
        const char *given;
        const char *meant;
    };
    for (const Row &row : {Row{"statsu", "status"}, Row{"ofer", "offer"}, Row{"hstory", "history"},
                           Row{"activateat", "activate-at"}, Row{"WATCH", "watch"}}) {
        const Ended ended = otactl({row.given});
        EXPECT_EQ(ended.code, 2);
        EXPECT_EQ(ended.errors.find("otactl: " + std::string(row.given) +
                                    ": there is no such verb; did you mean " + row.meant + "?; "),
                  0U)
            << ended.errors;
    }
    EXPECT_EQ(otactl({"reboot"}).errors.find("otactl: reboot: there is no such verb; see "), 0U);
}

} // namespace
