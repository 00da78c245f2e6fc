// SPDX-License-Identifier: MIT
// A line of the history is read as the end that was told.
#include "base/end.h"

#include <gtest/gtest.h>

namespace base {
namespace {

TEST(End, HasTheNamesOfTheTables) {
    EXPECT_EQ(endOf(7, Outcome::imageRefused, {"it is of GW-9", Reason::wrongModel}),
              (End{7, static_cast<std::uint32_t>(Outcome::imageRefused), "imageRefused",
                   "wrong-model", "it is of GW-9"}));
}

TEST(End, IsReadFromALineThatFinishesOrCancels) {
    const End end{9007199254740992U, 255, "failed", "none", "why"};
    for (const std::string event : {"finished", "cancelled", "attempt-failed"}) {
        const std::string line = R"({"event":")" + event + R"(","version":"4QZ1","ticket":)" +
                                 R"(9007199254740992,"code":255,"result":"failed",)" +
                                 R"("reason_code":"none","reason":"why"})";
        EXPECT_EQ(toldIn(line.c_str()).event, event);
        EXPECT_EQ(toldIn(line.c_str()).version, "4QZ1");
        EXPECT_EQ(toldIn(line.c_str()).end, end);
        EXPECT_EQ(endOfLine(line.c_str()),
                  event == "attempt-failed" ? std::nullopt : std::optional(end));
    }
}

TEST(End, IsNoneInALineThatCannotBeRead) {
    for (const char *line : {"", "{", R"({"event":"finished"})",
                             R"({"event":"finished","ticket":9007199254740993e1,"code":1})",
                             R"({"event":"finished","ticket":-1,"code":1})",
                             R"({"event":"finished","ticket":1,"code":256})"}) {
        EXPECT_EQ(endOfLine(line), std::nullopt) << line;
    }
}

} // namespace
} // namespace base
