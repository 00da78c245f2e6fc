// SPDX-License-Identifier: MIT
// One line per log entry, whatever the text ends in.
#include "fixture.h"
#include "platform/nal.h"

#include <vector>

namespace {

class Logger : public OnANode {};

TEST_F(Logger, AddsALineEndOnlyWhereTheTextHasNone) {
    EXPECT_EQ(errorsOf([] {
                  nalLogNotice("f", 1, "ota: [main f:1] %s", "without");
                  nalLogNotice("f", 2, "ota: [main f:2] with\n");
                  nalLogError("f", 3, "%s %d\r\n", "ret", 5);
              }),
              "notice: ota: [main f:1] without\nnotice: ota: [main f:2] with\nerror: ret 5\r\n");
}

TEST_F(Logger, SpellsOutControlCharactersSoThatTextCannotForgeALine) {
    EXPECT_EQ(errorsOf([] {
                  nalLogNotice("f", 1, "%s", "a\nerror: forged\r\nb\tc\x7f\x1b[2J \xC3\xA9\n\n");
              }),
              "notice: a\\x0Aerror: forged\\x0D\\x0Ab\\x09c\\x7F\\x1B[2J \xC3\xA9\\x0A\n");
}

TEST_F(Logger, DoesNotCutALongEntry) {
    const std::string text(20000, 'x');
    EXPECT_EQ(errorsOf([&] { nalLogError("f", 1, "%s", text.c_str()); }), "error: " + text + "\n");
}

} // namespace
