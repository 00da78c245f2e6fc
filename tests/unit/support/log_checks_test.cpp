// SPDX-License-Identifier: MIT
// The checks that the harness makes on every log line, seen failing.
#include "agent_test.h"

#include "platform/nal.h"

#include <gtest/gtest-spi.h>

using namespace ota::test;

namespace {

using LogChecks = AgentTest;

TEST_F(LogChecks, AcceptAWellFormedLine) {
    nalLogNotice("f", 12, "ota: [%s %s:%d] value %d\n", "unit", "f", 12, 5);
    nalLogError("f", 12, "ota: [%s %s:%d] bad", "unit", "f", 12);
    addDebugEntry(" [ 05 Mar 2024 10:00:00 ] f():12: value 5\n");
    EXPECT_ENTRIES(journal().all(), entries(notice("unit", "f", "value 5\n"),
                                            error("unit", "f", "bad"), trace("f", "value 5\n")));
}

TEST_F(LogChecks, HideTheLineThatABodyRepeats) {
    nalLogNotice("f", 12, "ota: [%s %s:%d] %s():%d: now", "unit", "f", 12, "f", 12);
    EXPECT_ENTRIES(journal().all(), entries(notice("unit", "f", "f():LINE: now")));
}

TEST_F(LogChecks, NoticeAMissingPrefix) {
    EXPECT_NONFATAL_FAILURE(nalLogNotice("f", 12, "value %d", 5), "a log line without");
}

TEST_F(LogChecks, NoticeAnotherFunctionInThePrefix) {
    EXPECT_NONFATAL_FAILURE(nalLogNotice("f", 12, "ota: [%s %s:%d] x", "unit", "g", 12),
                            "the logger was told another function");
}

TEST_F(LogChecks, NoticeAnotherLineInThePrefix) {
    EXPECT_NONFATAL_FAILURE(nalLogError("f", 12, "ota: [%s %s:%d] x", "unit", "f", 13),
                            "the logger was told another line");
}

TEST_F(LogChecks, NoticeADebugEntryWithoutItsStamp) {
    EXPECT_NONFATAL_FAILURE(addDebugEntry(" [ 05 Mar 2024 10:00:01 ] f():12: x"),
                            "without the stamp");
}

TEST_F(LogChecks, NoticeADebugEntryWithoutItsPrefix) {
    EXPECT_NONFATAL_FAILURE(addDebugEntry(" [ 05 Mar 2024 10:00:00 ] f: x"),
                            "a debug entry without");
}

} // namespace
